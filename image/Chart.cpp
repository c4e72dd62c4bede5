// SPDX-License-Identifier: MIT
#include "image/Chart.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Chart {
namespace {

constexpr int Rows(double decibels) {
  return static_cast<int>(decibels * kRowsPerDecibel);
}

// The least power of each height from 1 on. log10() would do without the table, but its library
// would be loaded for every page of a dynamic program. Powers that are halves of whole numbers lie
// at least 7 millionths off a limit, or on that of 0 dB, which is exact.
constexpr auto kPowerOfHeight = [] {
  static_assert(kRowsPerDecibel == 10);
  constexpr double kRatioOfRows = 1.0232929922807541;  // 10 to the power of 1/100
  constexpr int kReferenceHeight = Rows(-kPowerLowestDecibels);
  std::array<double, Rows(kPowerHighestDecibels - kPowerLowestDecibels)> powers = {};
  powers[kReferenceHeight - 1] = kPowerReference;
  for (std::size_t at = kReferenceHeight - 1; at-- > 0;) powers[at] = powers[at + 1] / kRatioOfRows;
  for (std::size_t at = kReferenceHeight; at < powers.size(); ++at) {
    powers[at] = powers[at - 1] * kRatioOfRows;
  }
  return powers;
}();

}  // namespace

int PowerHeight(double power) {
  if (!(power > 0)) return 0;  // also for NaN, for which there is no place in the table
  return static_cast<int>(std::upper_bound(kPowerOfHeight.begin(), kPowerOfHeight.end(), power) -
                          kPowerOfHeight.begin());
}

int SnrHeight(double decibels) {
  // Also true for NaN, whose conversion to a whole number is undefined.
  if (!(decibels > kSnrLowestDecibels)) return 0;
  return Rows(std::min(decibels, kSnrHighestDecibels) - kSnrLowestDecibels);
}

}  // namespace Chart
