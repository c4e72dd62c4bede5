// SPDX-License-Identifier: MIT
//
// A new row goes to the front of a copy: events are rare, and a table that was handed out never
// changes.
#include "sysmgr/device/EventLog.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <utility>

#include "base/Characters.h"

namespace {

// Leaves room for "and 4095 more." after the names.
constexpr std::size_t kMaxNamesBytes = EventLog::kMaxTextBytes - 32;

std::string Time(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return std::string(text, size);
}

}  // namespace

EventLog::EventLog(Clock timeOfDay)
    : timeOfDay_(std::move(timeOfDay)), events_(std::make_shared<std::vector<LiveRow>>()) {}

void EventLog::Add(std::string_view text) {
  std::string shown(text.substr(0, kMaxTextBytes));
  std::replace_if(
      shown.begin(), shown.end(), [](char byte) { return !IsAsciiPrintable(byte); }, '?');
  auto events = std::make_shared<std::vector<LiveRow>>();
  events->reserve(kMaxEvents);
  events->push_back({Time(timeOfDay_()), std::move(shown)});
  const std::size_t kept = std::min(events_->size(), kMaxEvents - 1);
  events->insert(events->end(), events_->begin(),
                 events_->begin() + static_cast<std::ptrdiff_t>(kept));
  events_ = std::move(events);
}

void EventLog::AddNames(std::string_view what, const std::vector<std::string>& names) {
  std::string text(what);
  text += ": ";
  std::size_t told = 0;
  for (; told < names.size(); ++told) {
    if (text.size() + names[told].size() > kMaxNamesBytes) break;
    if (told > 0) text += ", ";
    text += names[told];
  }
  if (told < names.size()) {
    if (told > 0) text += " and ";
    text += std::to_string(names.size() - told) + " more";
  }
  Add(text + ".");
}

void EventLog::OfferTo(Sources& sources) const {
  sources.OfferTable("log", {{"Time", "Text"}, [this](const Question&) { return events_; }});
}
