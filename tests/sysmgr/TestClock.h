// SPDX-License-Identifier: MIT
//
// The file "clock" in the folder where a program of the tests was started tells it the time of day
// and the monotonic clock, in seconds.
#pragma once

#include <cstdint>
#include <fstream>

enum class TestClock { kTimeOfDay, kSteady };

inline std::int64_t ReadClock(TestClock which) {
  std::int64_t timeOfDay = 0;
  std::int64_t steady = 0;
  std::ifstream("clock") >> timeOfDay >> steady;
  return which == TestClock::kSteady ? steady : timeOfDay;
}
