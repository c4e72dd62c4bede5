// SPDX-License-Identifier: MIT
//
// Rows are made when somebody asks, because their local times follow the zone that is set then.
#include "sysmgr/device/EventLog.h"

#include <algorithm>
#include <memory>

#include "base/Characters.h"
#include "sysmgr/clock/Zones.h"

namespace {

std::string Shown(std::string_view text) {
  std::string shown(text.substr(0, EventLog::kMaxTextBytes));
  std::replace_if(
      shown.begin(), shown.end(), [](char byte) { return !IsAsciiPrintable(byte); }, '?');
  return shown;
}

// The whole event in a line, for whoever reads English.
std::string LineOf(const std::string& sentence, const std::string& subject) {
  if (subject.empty()) return sentence;
  return sentence + " " + subject + (subject.back() == '.' ? "" : ".");
}

}  // namespace

void EventLog::Add(Sentence sentence, std::string_view subject) {
  AddTold(Sentences::TextOf(sentence), subject);
}

void EventLog::AddTold(std::string_view sentence, std::string_view subject) {
  if (events_.size() == kMaxEvents) events_.pop_back();
  events_.push_front({clock_.Now(), Shown(sentence), Shown(subject)});
}

void EventLog::AddChanges(const std::vector<std::string>& keys) {
  const std::size_t told = std::min(keys.size(), kMaxSettings);
  for (std::size_t i = 0; i < told; ++i) Add(Sentence::kEventSetting, keys[i]);
  if (told < keys.size()) Add(Sentence::kEventSettings, std::to_string(keys.size() - told));
}

LiveRows EventLog::Events() const {
  auto rows = std::make_shared<std::vector<LiveRow>>();
  rows->reserve(events_.size());
  for (const Event& event : events_) {
    const Zones::LocalTime utc = Zones::At("UTC", event.time);
    const Zones::LocalTime local = clock_.At(event.time);  // "2026-11-23", "16:05:00"
    rows->push_back({utc.date + " " + utc.time, LineOf(event.sentence, event.subject),
                     std::to_string(rows->size() + 1), local.date + " " + local.time, local.offset,
                     event.sentence, event.subject, local.date.substr(0, 4),
                     local.date.substr(5, 2), local.date.substr(8), local.time.substr(0, 5)});
  }
  return rows;
}

void EventLog::OfferTo(Sources& sources) const {
  sources.OfferTable("log", {{"Time", "Text", "Number", "Local", "Offset", "Sentence", "Subject",
                              "Year", "Month", "Day", "Clock"},
                             [this](const Question&) { return Events(); }});
}
