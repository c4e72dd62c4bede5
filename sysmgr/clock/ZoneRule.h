// SPDX-License-Identifier: MIT
//
// The offset from UTC by a rule of POSIX, such as "CET-1CEST,M3.5.0,M10.5.0/3". The C library
// understands such rules only for the whole process, through its environment, which other threads
// read; so the service reads them itself.
#pragma once

#include <cstdint>
#include <string_view>

namespace ZoneRule {

// Seconds east of UTC at that time, which is in seconds since 1970. The rule is one of
// sysmgr/clock/zones: names, offsets and changes of the form "M3.5.0/2", behind them perhaps "@"
// and the next changes. Of any other text, it says something between a day west and a day east.
int OffsetSeconds(std::string_view rule, std::int64_t time);

}  // namespace ZoneRule
