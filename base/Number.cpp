// SPDX-License-Identifier: MIT
#include "base/Number.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

int WGLToInt(const char* text) {
  constexpr long kLowest = std::numeric_limits<int>::min();
  constexpr long kHighest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), kLowest, kHighest));
}
