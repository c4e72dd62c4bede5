// SPDX-License-Identifier: MIT
//
// What a provider is asked and told to do, and its answers. Whoever waits is told the outcome
// exactly once, also when the provider goes.
#include "sysmgr/providers/ProviderSession.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "base/Utf8.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

using Fields = ProviderLink::Fields;

// Those of the pairs that have a known name; the last one of each name.
std::string Pairs(const std::vector<Config::Key::Pair>& pairs,
                  const std::vector<std::string>& known) {
  StringTable table(2);
  for (auto pair = pairs.begin(); pair != pairs.end(); ++pair) {
    const auto hasItsName = [&pair](const auto& other) { return other.name == pair->name; };
    if (std::find(known.begin(), known.end(), pair->name) != known.end() &&
        std::none_of(pair + 1, pairs.end(), hasItsName)) {
      table.AddCells({pair->name, pair->value});
    }
  }
  return table.Serialize();
}

// What a page can show of a device's sentence.
std::string Plain(std::string_view text) {
  std::string plain;
  Utf8::AppendSafe(plain, text.substr(0, ProviderSession::kMaxSentenceBytes));
  const auto isMarkup = [](char byte) {
    return std::string_view("<>&\"'").find(byte) != std::string_view::npos;
  };
  plain.erase(std::remove_if(plain.begin(), plain.end(), isMarkup), plain.end());
  return plain;
}

}  // namespace

void ProviderSession::Ask(const std::string& source, const Question& question, AnswerTaker taker) {
  const Offer& offer = offers_.at(source);
  const std::string id = std::to_string(++lastId_);
  if (!Await(id, {source, std::move(taker), nullptr}, patience_.reply)) return;
  const std::vector<std::string> none;
  link_.Send({"ask", id, source,
              Pairs(question.key.Selectors(), offer.kind == Kind::kTable ? none : offer.names),
              Pairs(question.key.Options(), offer.options), question.client});
}

void ProviderSession::Act(const std::string& action, const ActionRequest& request,
                          OutcomeTaker taker) {
  const std::string id = std::to_string(++lastId_);
  if (!Await(id, {action, nullptr, std::move(taker)}, patience_.action)) return;
  link_.Send(
      {"act", id, action, request.Value(), request.Parameters().Serialize(), request.Client()});
}

// Waits for an answer. False when there are too many already; the one who asks has been told then.
bool ProviderSession::Await(const std::string& id, Open one, int milliseconds) {
  if (open_.size() >= kMaxOpen) {
    if (one.answer) one.answer({nullptr, Sentence::kDeviceBusy});
    if (one.outcome) one.outcome(Sentence::kDeviceBusy);
    return false;
  }
  Open& open = open_.emplace(id, std::move(one)).first->second;
  const timeval time = TimeOf(milliseconds);
  open.deadline.reset(evtimer_new(world_.loop.Base(), OnLate, &link_));
  if (open.deadline == nullptr) throw std::bad_alloc();
  AddEvent(open.deadline, &time);
  return true;
}

void ProviderSession::OnLate(int, short, void* link) {
  static_cast<ProviderLink*>(link)->End("it does not answer in time");
}

// Takes what was waited for under that id off the list. False when there is no such thing, or it
// waits for a message of the other kind.
bool ProviderSession::TakeOpen(std::string_view id, bool isAction, Open& one) {
  const auto found = open_.find(std::string(id));
  if (found == open_.end() || (found->second.outcome != nullptr) != isAction) return false;
  one = std::move(found->second);
  open_.erase(found);
  return true;
}

std::string ProviderSession::Answer(const Fields& fields) {
  Open one;
  if (!TakeOpen(fields[1], false, one)) return "it answers what it was not asked";
  const Offer& offer = offers_.at(one.source);
  if (fields[2] == "none") {
    Log::WriteAboutClient("provider '" + name_ + "' has no '" + one.source +
                          "': " + std::string(fields[3].substr(0, Log::kMaxNameBytes)));
    one.answer({nullptr, Sentence::kNoValue});
    return "";
  }
  LiveRows rows;
  std::size_t bytes = 0;
  std::string why;
  if (fields[2] != "value" || !ReadRows(offer, fields[3], rows, bytes)) {
    why = "it answers in another shape than it offered";
  } else if (offer.kind == Kind::kValue && !FitsModel(one.source, rows->front().front())) {
    why = "it answers a value that the model rules out";
  }
  if (!why.empty()) {
    one.answer({nullptr, Sentence::kNoDevice});
    return why;
  }
  if (offer.kind == Kind::kFile) {
    std::string path;
    const Outcome made = world_.files.Put(one.source + "-", ".bin", rows->front().front(), path);
    if (!made.IsSuccess()) {
      one.answer({nullptr, made});
      return "";
    }
    rows = std::make_shared<std::vector<LiveRow>>(1, LiveRow{path});
    one.answer({std::move(rows), {}, std::move(path)});
    return "";
  }
  one.answer({std::move(rows), {}, {}, offer.names});
  return "";
}

// A sentence that the model does not list could not be translated.
std::string ProviderSession::Done(const Fields& fields) {
  Open one;
  if (!TakeOpen(fields[1], true, one)) return "it has done what it was not told";
  if (fields[2].empty()) {
    one.outcome({});
    return "";
  }
  const std::string sentence = Plain(fields[2]);
  // What could not be kept is told in the service's own words.
  for (const std::string& own : Sentences::OfTopic(Topic::kSetting)) {
    if (sentence == own) {
      one.outcome(Outcome::InWordsOfTheModel(sentence));
      return "";
    }
  }
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.access != Access::kAction || key.action != one.source) continue;
    if (std::find(key.refusals.begin(), key.refusals.end(), sentence) != key.refusals.end()) {
      one.outcome(Outcome::InWordsOfTheModel(sentence));
      return "";
    }
  }
  Log::WriteAboutClient("provider '" + name_ + "' refuses '" + one.source +
                        "' in words that the model lacks: " + sentence);
  one.outcome(Sentence::kDeviceRefuses);
  return "";
}
