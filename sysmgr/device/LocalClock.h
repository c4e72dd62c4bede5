// SPDX-License-Identifier: MIT
//
// The time of day where the device is.
//
// Sources: the tables "clock" (Zone, Date, Time, Offset), of one row, and "time-zones" (Name, Area,
// Place, Time).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "sysmgr/clock/Zones.h"
#include "sysmgr/device/Sources.h"

class LocalClock {
 public:
  using Clock = std::function<std::int64_t()>;  // seconds since 1970, UTC

  // `zone` gives the name of the zone, asked whenever it is needed.
  LocalClock(std::function<std::string()> zone, Clock timeOfDay)
      : zone_(std::move(zone)), timeOfDay_(std::move(timeOfDay)) {}

  std::int64_t Now() const { return timeOfDay_(); }
  Zones::LocalTime At(std::int64_t time) const { return Zones::At(zone_(), time); }

  // The clock must outlive the sources.
  void OfferTo(Sources& sources) const;

 private:
  std::function<std::string()> zone_;
  Clock timeOfDay_;
};
