// SPDX-License-Identifier: MIT
//
// The former value of a setting is an own value of the service, with a sign before it: the empty
// text would count as none.
#include "sysmgr/device/Trial.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr char kSign = '=';

// Unlike names of what is kept for providers, it holds no blank.
std::string OwnName(const std::string& key) {
  return std::string(1, Storage::kOwnPrefix) + "trial:" + key;
}

const std::string* FindIn(const Storage::Batch& batch, const std::string& key) {
  for (const auto& [name, value] : batch) {
    if (name == key) return &value;
  }
  return nullptr;
}

}  // namespace

Trial::Trial(Settings& settings, EventLog& log, Clock clock)
    : settings_(settings), log_(log), clock_(std::move(clock)) {
  settings_.CompleteWith(
      [this](Storage::Batch& batch, const Storage::Lookup& before) { Complete(batch, before); });
  settings_.AddObserver(
      [this](const Storage::Changes& changes, const std::string&) { OnChange(changes); });
}

bool Trial::IsPending() const {
  const auto& keys = settings_.Definitions().Keys();
  return std::any_of(keys.begin(), keys.end(), [this](const ModelKey& key) {
    return key.trial && !settings_.GetOwn(OwnName(key.name)).empty();
  });
}

std::int64_t Trial::SecondsLeft() const {
  return std::clamp<std::int64_t>(since_ + kSeconds - clock_(), 0, kSeconds);
}

// Adds the former values of what the batch changes. A batch that restores all of them ends the
// trial.
void Trial::Complete(Storage::Batch& batch, const Storage::Lookup& before) const {
  Storage::Batch own;
  bool isChanged = false;
  bool isBack = true;
  for (const ModelKey& key : settings_.Definitions().Keys()) {
    if (!key.trial) continue;
    const std::string* const value = FindIn(batch, key.name);
    const std::string& present = before(key.name);
    const std::string& former = before(OwnName(key.name));
    const std::string& next = value == nullptr ? present : *value;
    isChanged |= next != present;
    isBack &= former.empty() ? next == present : former == kSign + next;
    own.emplace_back(OwnName(key.name), former.empty() ? kSign + present : former);
  }
  if (!isChanged) return;
  for (auto& [name, former] : own) batch.emplace_back(std::move(name), isBack ? "" : former);
}

void Trial::OnChange(const Storage::Changes& changes) {
  const bool concerned =
      std::any_of(changes.begin(), changes.end(), [this](const Storage::Change& change) {
        return settings_.Definitions().Find(change.key)->trial;
      });
  if (!concerned || !IsPending()) return;
  log_.Add(Sentence::kEventTrial, std::to_string(kSeconds));
  Begin();
}

void Trial::Begin() {
  since_ = clock_();
  if (isTicking_ || !ticker_) return;
  ticker_([this] { return isTicking_ = Tick(); });
  isTicking_ = true;
}

void Trial::TickWith(Ticker ticker) {
  ticker_ = std::move(ticker);
  if (!IsPending()) return;
  log_.Add(Sentence::kEventTrial, std::to_string(kSeconds));
  Begin();
}

bool Trial::Tick() {
  if (!IsPending()) return false;
  // What can't be stored is tried again with the next tick.
  if (SecondsLeft() == 0) Return([](const Outcome&) {}, Sentence::kEventTrialOver);
  return true;
}

void Trial::Return(OutcomeTaker done, Sentence event) {
  Storage::Batch batch;
  const LiveRows rows = Rows();
  for (const LiveRow& row : *rows) batch.emplace_back(row[0], row[1]);
  if (batch.empty()) return done(Sentence::kNoTrial);
  Storage::Terms terms;
  // It may be confirmed by a request that is before it on the way to the disk.
  terms.check = [](const Storage::Batch& formers, const Storage::Lookup& before) {
    return before(OwnName(formers.front().first)).empty() ? Outcome(Sentence::kNoTrial) : Outcome();
  };
  settings_.Store(
      std::move(batch),
      [this, event, done = std::move(done)](const Outcome& stored) {
        if (stored.IsSuccess()) log_.Add(event);
        done(stored);
      },
      std::move(terms));
}

void Trial::Keep(OutcomeTaker done) {
  if (!IsPending()) return done(Sentence::kNoTrial);
  Storage::Batch batch;
  for (const ModelKey& key : settings_.Definitions().Keys()) {
    if (key.trial) batch.emplace_back(OwnName(key.name), "");
  }
  Storage::Terms terms;
  // It may have returned meanwhile.
  terms.check = [](const Storage::Batch& own, const Storage::Lookup& before) {
    const bool isPending = std::any_of(own.begin(), own.end(), [&before](const auto& former) {
      return !before(former.first).empty();
    });
    return isPending ? Outcome() : Outcome(Sentence::kNoTrial);
  };
  settings_.Store(
      std::move(batch),
      [this, done = std::move(done)](const Outcome& stored) {
        if (stored.IsSuccess()) log_.Add(Sentence::kEventTrialKept);
        done(stored);
      },
      std::move(terms));
}

LiveRows Trial::Rows() const {
  auto rows = std::make_shared<std::vector<LiveRow>>();
  for (const ModelKey& key : settings_.Definitions().Keys()) {
    const std::string& former = settings_.GetOwn(OwnName(key.name));
    if (!key.trial || former.empty()) continue;
    rows->push_back({key.name, former.substr(1), settings_.Get(key.name)});
  }
  return rows;
}

void Trial::OfferTo(Sources& sources) {
  sources.OfferText("trial-seconds",
                    [this] { return IsPending() ? std::to_string(SecondsLeft()) : std::string(); });
  sources.OfferTable("trial-settings",
                     {{"Key", "Former", "Present"}, [this](const Question&) { return Rows(); }});
  sources.OfferAction("trial", [this](const ActionRequest& request, OutcomeTaker done) {
    if (request.Value() == "keep") return Keep(std::move(done));
    Return(std::move(done), Sentence::kEventTrialEnded);
  });
}
