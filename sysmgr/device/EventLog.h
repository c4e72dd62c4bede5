// SPDX-License-Identifier: MIT
//
// What happened to the device, for its owner to read on a page: in memory, the last hundred events.
// The rule to know: events name settings and stations' addresses, never what somebody typed in.
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

  // Of one event's text; a page's row. What is longer is cut.
  static constexpr std::size_t kMaxTextBytes = 400;

  using Clock = std::function<std::int64_t()>;  // seconds since 1970, UTC

  explicit EventLog(Clock timeOfDay);

  // Control characters and bytes beyond ASCII become "?".
  void Add(std::string_view text);

  // "Settings changed: a, b and 3 more." The first names that fit.
  void AddNames(std::string_view what, const std::vector<std::string>& names);

  // Newest first.
  LiveRows Events() const { return events_; }

  void OfferTo(Sources& sources) const;

 private:
  Clock timeOfDay_;
  LiveRows events_;
};
