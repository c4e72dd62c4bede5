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

bool ParseInteger(std::string_view text, std::int64_t& number) {
  constexpr std::uint64_t kHighest = std::numeric_limits<std::int64_t>::max();
  const bool isNegative = !text.empty() && text.front() == '-';
  std::uint64_t size = 0;
  if (!ParseDecimal(text.substr(isNegative ? 1 : 0), size)) return false;
  if (size > kHighest + (isNegative ? 1 : 0) || (isNegative && size == 0)) return false;
  number = static_cast<std::int64_t>(isNegative ? 0 - size : size);
  return true;
}
