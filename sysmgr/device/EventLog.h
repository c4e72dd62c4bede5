// SPDX-License-Identifier: MIT
//
// The last events of the device, in memory, for its owner to read on a page. The rule to know:
// events name settings and the addresses of stations, never values that a user has typed.
//
// Source: the table "log" (Time, Text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/Sources.h"

class EventLog {
 public:
  static constexpr std::size_t kMaxEvents = 100;

  // The most bytes of one event, a row on a page. A longer text is cut.
  static constexpr std::size_t kMaxTextBytes = 400;

  using Clock = std::function<std::int64_t()>;  // seconds since 1970, UTC

  explicit EventLog(Clock timeOfDay);

  // Control characters and bytes beyond ASCII become "?".
  void Add(std::string_view text);

  // Adds an event such as "Settings changed: a, b and 3 more.", with as many names as fit.
  void AddNames(std::string_view what, const std::vector<std::string>& names);

  // Newest first.
  LiveRows Events() const { return events_; }

  void OfferTo(Sources& sources) const;

 private:
  Clock timeOfDay_;
  LiveRows events_;
};
