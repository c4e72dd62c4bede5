// SPDX-License-Identifier: MIT
//
// The measures of the status charts: their scales, and the places of their bars. Both the program
// that draws the bars and the one that draws axes and grid use them.
#pragma once

#include <array>
#include <cstddef>

namespace Chart {

// The carriers of HomePlug AV below 30 MHz, in the order of their frequency.
inline constexpr int kCarriers = 1155;
inline constexpr double kFirstCarrierMegahertz = 1.8;
inline constexpr double kCarrierSpacingMegahertz = 25.0 / 1024;  // 24.414 kHz

template <class Value>
using Values = std::array<Value, kCarriers>;

// A bar shows two carriers; the last bar shows one.
inline constexpr int kCarriersPerBar = 2;
inline constexpr int kBars = (kCarriers + 1) / kCarriersPerBar;

// Pixels from the top left corner of the picture. A bar is one pixel wide; a bar of height h fills
// the h rows above the base line.
inline constexpr int kFirstColumn = 31;
inline constexpr int kBaseRow = 385;
inline constexpr int kRequiredWidth = kFirstColumn + kBars;
inline constexpr int kRequiredHeight = kBaseRow;

// The scales. A value beyond an end of its scale is drawn at that end.
inline constexpr int kRowsPerDecibel = 10;
inline constexpr double kPowerLowestDecibels = -30;
inline constexpr double kPowerHighestDecibels = 3;
inline constexpr double kPowerReference = 256;  // 0 dB
inline constexpr double kSnrLowestDecibels = 0;
inline constexpr double kSnrHighestDecibels = 32.5;

struct Color {
  unsigned char red, green, blue;
};

// The template's palette holds this colour; only the bars have it.
inline constexpr Color kBarColor = {64, 128, 64};

// The mean of a bar's carriers.
template <class Value>
double BarValue(const Values<Value>& values, int bar) {
  const std::size_t first = static_cast<std::size_t>(bar) * kCarriersPerBar;
  const double value = static_cast<double>(values[first]);
  if (first + 1 == values.size()) return value;
  return (value + static_cast<double>(values[first + 1])) * 0.5;
}

// The height of a bar in rows, for any value; 0 for NaN.
int PowerHeight(double power);   // 0 to 330
int SnrHeight(double decibels);  // 0 to 325

}  // namespace Chart
