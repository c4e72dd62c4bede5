// SPDX-License-Identifier: MIT
#include "sysmgr/clock/Zones.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "sysmgr/clock/ZoneRule.h"

namespace {

// Made of the file by the build.
constexpr std::string_view kText =
#include "Zones.inc"
    ;

std::vector<Zones::Zone> Read(std::string_view text) {
  std::vector<Zones::Zone> zones;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) continue;  // the comment at the top
    const bool isListed = line.front() != '-';
    const std::size_t begin = isListed ? 0 : 1;
    zones.push_back({line.substr(begin, tab - begin), line.substr(tab + 1), isListed});
  }
  return zones;
}

}  // namespace

const std::vector<Zones::Zone>& Zones::All() {
  static const std::vector<Zone> kZones = Read(kText);
  return kZones;
}

const Zones::Zone* Zones::Find(std::string_view name) {
  const std::vector<Zone>& zones = All();
  const auto found = std::lower_bound(
      zones.begin(), zones.end(), name,
      [](const Zone& zone, std::string_view wanted) { return zone.name < wanted; });
  return found == zones.end() || found->name != name ? nullptr : &*found;
}

Zones::LocalTime Zones::At(std::string_view zone, std::int64_t time) {
  const Zone* const found = Find(zone);
  const int offset = found == nullptr ? 0 : ZoneRule::OffsetSeconds(found->rule, time);
  const auto local = static_cast<std::time_t>(time + offset);
  const int minutes = std::abs(offset) / 60;
  std::tm parts{};
  gmtime_r(&local, &parts);
  LocalTime result;
  char text[32];
  result.date.assign(text, std::strftime(text, sizeof text, "%Y-%m-%d", &parts));
  result.time.assign(text, std::strftime(text, sizeof text, "%H:%M:%S", &parts));
  std::snprintf(text, sizeof text, "%c%02d:%02d", offset < 0 ? '-' : '+', minutes / 60,
                minutes % 60);
  result.offset = text;
  return result;
}
