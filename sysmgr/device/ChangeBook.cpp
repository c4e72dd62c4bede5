// SPDX-License-Identifier: MIT
//
// The value in a former state is what the first change after it has found.
#include "sysmgr/device/ChangeBook.h"

#include <sodium.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "base/Number.h"

namespace {

std::size_t BytesOf(const Storage::Changes& changes) {
  std::size_t bytes = 0;
  for (const Storage::Change& change : changes) {
    bytes += sizeof change + change.key.size() + change.before.size() + change.after.size();
  }
  return bytes;
}

void Wipe(std::string& text) {
  sodium_memzero(text.data(), text.size());
  text.clear();
}

}  // namespace

ChangeBook::ChangeBook(Settings& settings, Clock clock)
    : settings_(settings), clock_(std::move(clock)) {
  settings_.AddObserver(
      [this](const Storage::Changes& changes, const std::string& origin) { Add(changes, origin); });
}

ChangeBook::~ChangeBook() {
  Clear();
}

void ChangeBook::Add(const Storage::Changes& changes, const std::string& origin) {
  entries_.push_back({++now_, clock_(), origin, changes, BytesOf(changes)});
  bytes_ += entries_.back().bytes;
  while (entries_.size() > kMaxChanges || (bytes_ > kMaxBytes && entries_.size() > 1)) DropFirst();
}

void ChangeBook::DropFirst() {
  Entry& entry = entries_.front();
  WipeSecrets(entry);
  bytes_ -= entry.bytes;
  first_ = entry.number;
  entries_.pop_front();
}

void ChangeBook::WipeSecrets(Entry& entry) const {
  for (Storage::Change& change : entry.changes) {
    const ModelKey* const key = settings_.Definitions().Find(change.key);
    if (key != nullptr && key->CanBeRead()) continue;
    Wipe(change.before);
    Wipe(change.after);
  }
}

void ChangeBook::Clear() {
  while (!entries_.empty()) DropFirst();
  first_ = ++now_;
}

void ChangeBook::DropOld() {
  for (Entry& entry : entries_) {
    if (!IsRecent(entry)) WipeSecrets(entry);
  }
}

std::optional<std::string> ChangeBook::ValueIn(std::uint64_t state, const std::string& key) const {
  if (state < first_) return std::nullopt;
  for (const Entry& entry : entries_) {
    if (entry.number <= state) continue;
    for (const Storage::Change& change : entry.changes) {
      if (change.key == key) return change.before;
    }
  }
  return settings_.Get(key);
}

// Whether everything is still as the change has left it.
bool ChangeBook::IsInForce(const Entry& entry) const {
  return std::all_of(
      entry.changes.begin(), entry.changes.end(),
      [this](const Storage::Change& change) { return settings_.Get(change.key) == change.after; });
}

LiveRows ChangeBook::Rows(std::string_view client) const {
  auto rows = std::make_shared<std::vector<LiveRow>>();
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    const std::string undo = IsRecent(*entry) && IsInForce(*entry) ? "1" : "0";
    for (const Storage::Change& change : entry->changes) {
      const ModelKey& key = *settings_.Definitions().Find(change.key);
      if (!key.IsOpenTo(client)) continue;
      const bool isSecret = !key.CanBeRead();
      rows->push_back({std::to_string(entry->number), std::to_string(clock_() - entry->since),
                       entry->origin, change.key, isSecret ? "" : change.before,
                       isSecret ? "" : change.after, isSecret ? "1" : "0", undo});
    }
  }
  return rows;
}

void ChangeBook::Undo(const ActionRequest& request, const OutcomeTaker& done) {
  std::uint64_t number = 0;
  const auto isMeant = [&number](const Entry& entry) { return entry.number == number; };
  const auto entry = ParseDecimal(request.Value(), number)
                         ? std::find_if(entries_.begin(), entries_.end(), isMeant)
                         : entries_.end();
  if (entry == entries_.end() || !IsRecent(*entry)) return done(Sentence::kUndoTooLate);
  Storage::Batch batch;
  Storage::Terms terms;
  terms.origin = request.Ticket();
  for (const Storage::Change& change : entry->changes) {
    const ModelKey* const key = settings_.Definitions().Find(change.key);
    if (key == nullptr || !key->IsOpenTo(request.Client())) return done(Sentence::kNotOpen);
    batch.emplace_back(change.key, change.before);
  }
  // When it goes to the disk: others may be on their way before it.
  terms.check = [changes = entry->changes](Storage::Batch&, const Storage::Lookup& before) {
    const bool isInForce = std::all_of(
        changes.begin(), changes.end(),
        [&before](const Storage::Change& change) { return before(change.key) == change.after; });
    return isInForce ? Outcome() : Outcome(Sentence::kUndoMoved);
  };
  settings_.Store(std::move(batch), done, std::move(terms));
}

void ChangeBook::OfferTo(Sources& sources) {
  sources.OfferTable("changes",
                     {{"Number", "Seconds", "Form", "Key", "Before", "After", "Secret", "Undo"},
                      [this](const Question& question) { return Rows(question.client); }});
  sources.OfferAction("undo", [this](const ActionRequest& request, const OutcomeTaker& done) {
    Undo(request, done);
  });
}
