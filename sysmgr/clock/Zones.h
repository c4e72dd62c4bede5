// SPDX-License-Identifier: MIT
//
// The time zones of the tz database, under its names. They are part of the program (the file zones,
// which tools/make-zones makes), so a device needs no further files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Zones {

struct Zone {
  std::string_view name;  // "Europe/Berlin"
  std::string_view rule;  // see ZoneRule.h
  bool isListed = true;   // false for a further name of a place
};

// Sorted by name.
const std::vector<Zone>& All();

// Null when there is none with that name, which is matched letter by letter.
const Zone* Find(std::string_view name);

// A moment as a clock shows it at a place.
struct LocalTime {
  std::string date;    // "2026-11-23"
  std::string time;    // "14:00:00"
  std::string offset;  // from UTC: "+01:00"
};

// `time` is in seconds since 1970. An unknown zone counts as UTC.
LocalTime At(std::string_view zone, std::int64_t time);

}  // namespace Zones
