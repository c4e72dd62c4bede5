// SPDX-License-Identifier: MIT
//
// One function per part of a rule, each of which takes it from the front of the text.
#include "sysmgr/clock/ZoneRule.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <optional>

#include "base/Characters.h"

namespace {

constexpr int kHourSeconds = 3600;
constexpr int kDaySeconds = 24 * kHourSeconds;
constexpr int kWeekDays = 7;
constexpr int kLastWeek = 5;  // of a month, however many it has

// A day of each year, such as the last Sunday in March, and the local time of that day.
struct Change {
  int month = 1;
  int week = 1;
  int day = 0;                     // of the week; 0 is Sunday
  int seconds = 2 * kHourSeconds;  // may be on a day before or after
};

bool Take(std::string_view& text, char byte) {
  if (text.empty() || text.front() != byte) return false;
  text.remove_prefix(1);
  return true;
}

std::int64_t TakeNumber(std::string_view& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return 0;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

// "CET", or "<+0330>".
void SkipName(std::string_view& text) {
  if (Take(text, '<')) {
    text.remove_prefix(std::min(text.find('>'), text.size() - 1) + 1);
    return;
  }
  while (!text.empty() && IsAsciiAlphanumeric(text.front()) &&
         (text.front() < '0' || text.front() > '9')) {
    text.remove_prefix(1);
  }
}

// "3", "-3:30", "+10:30:15".
int TakeSeconds(std::string_view& text) {
  const bool isNegative = Take(text, '-');
  if (!isNegative) Take(text, '+');
  std::int64_t seconds = 0;
  for (int unit = kHourSeconds; unit > 0; unit /= 60) {
    seconds += std::clamp<std::int64_t>(TakeNumber(text), 0, kHourSeconds) * unit;
    if (!Take(text, ':')) break;
  }
  return static_cast<int>(isNegative ? -seconds : seconds);
}

// ",M3.5.0/2"
Change TakeChange(std::string_view& text) {
  Change change;
  Take(text, ',');
  Take(text, 'M');
  change.month = static_cast<int>(std::clamp<std::int64_t>(TakeNumber(text), 1, 12));
  Take(text, '.');
  change.week = static_cast<int>(std::clamp<std::int64_t>(TakeNumber(text), 1, kLastWeek));
  Take(text, '.');
  change.day = static_cast<int>(std::clamp<std::int64_t>(TakeNumber(text), 0, kWeekDays - 1));
  if (Take(text, '/')) change.seconds = TakeSeconds(text);
  return change;
}

// When the change is in that year, in local seconds since 1970.
std::int64_t TimeOf(const Change& change, int year) {
  std::tm first{};
  first.tm_year = year;
  first.tm_mon = change.month - 1;
  first.tm_mday = 1;
  const std::int64_t begin = timegm(&first);
  std::tm next{};
  next.tm_year = year;
  next.tm_mon = change.month;
  next.tm_mday = 1;
  const std::int64_t days = (timegm(&next) - begin) / kDaySeconds;
  std::int64_t day =
      (change.day - first.tm_wday + kWeekDays) % kWeekDays + (change.week - 1) * kWeekDays;
  while (day >= days) day -= kWeekDays;
  return begin + day * kDaySeconds + change.seconds;
}

// By the changes that are named one by one; none before the first and after the last of them.
std::optional<int> NamedOffset(std::string_view changes, std::int64_t time) {
  std::optional<int> offset;
  while (!changes.empty()) {
    const std::int64_t from = TakeNumber(changes);
    if (time < from) return offset;
    Take(changes, ':');
    offset =
        static_cast<int>(std::clamp<std::int64_t>(TakeNumber(changes), -kDaySeconds, kDaySeconds));
    if (!Take(changes, ',')) break;
  }
  return std::nullopt;
}

int RuledOffset(std::string_view rule, std::int64_t time) {
  SkipName(rule);
  const int standard = -TakeSeconds(rule);  // POSIX counts to the west
  SkipName(rule);
  if (rule.empty()) return standard;
  const int summer = rule.front() == ',' ? standard + kHourSeconds : -TakeSeconds(rule);
  const Change begin = TakeChange(rule);
  const Change end = TakeChange(rule);
  const auto local = static_cast<std::time_t>(time + standard);
  std::tm parts{};
  gmtime_r(&local, &parts);
  const std::int64_t from = TimeOf(begin, parts.tm_year) - standard;
  const std::int64_t until = TimeOf(end, parts.tm_year) - summer;
  // In the south, the summer goes over the turn of the year.
  const bool isSummer = from < until ? time >= from && time < until : time >= from || time < until;
  return isSummer ? summer : standard;
}

}  // namespace

int ZoneRule::OffsetSeconds(std::string_view rule, std::int64_t time) {
  const std::size_t mark = rule.find('@');
  if (mark != std::string_view::npos) {
    if (const auto named = NamedOffset(rule.substr(mark + 1), time)) return *named;
  }
  return std::clamp(RuledOffset(rule.substr(0, mark), time), -kDaySeconds, kDaySeconds);
}
