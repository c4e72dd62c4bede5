// SPDX-License-Identifier: MIT
#include "image/Chart.h"

#include <algorithm>
#include <cmath>

namespace Chart {
namespace {

int Height(double decibels, double lowest, double highest) {
  // Also true for NaN, whose conversion to a whole number is undefined.
  if (!(decibels > lowest)) return 0;
  return static_cast<int>((std::min(decibels, highest) - lowest) * kRowsPerDecibel);
}

}  // namespace

int PowerHeight(double power) {
  if (!(power > 0)) return 0;
  return Height(10 * std::log10(power * kPowerReferenceReciprocal), kPowerLowestDecibels,
                kPowerHighestDecibels);
}

int SnrHeight(double decibels) {
  return Height(decibels, kSnrLowestDecibels, kSnrHighestDecibels);
}

}  // namespace Chart
