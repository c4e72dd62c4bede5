// SPDX-License-Identifier: MIT
//
// What the status charts measure: their scales, and where their bars stand. The program that draws
// the bars and the one that draws axes and grid both take it from here.
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

// A bar shows two carriers, the last one a single one.
inline constexpr int kCarriersPerBar = 2;
inline constexpr int kBars = (kCarriers + 1) / kCarriersPerBar;

// Pixels from the top left corner of the picture. A bar is one pixel wide; one of the height h
// fills the h rows above the base line.
inline constexpr int kFirstColumn = 31;
inline constexpr int kBaseRow = 385;
inline constexpr int kRequiredWidth = kFirstColumn + kBars;
inline constexpr int kRequiredHeight = kBaseRow;

// The scales. What lies beyond an end of its scale is drawn as if it lay there.
inline constexpr int kRowsPerDecibel = 10;
inline constexpr double kPowerLowestDecibels = -30;
inline constexpr double kPowerHighestDecibels = 3;
inline constexpr double kPowerReferenceReciprocal = 0.00390625;  // 256 is 0 dB
inline constexpr double kSnrLowestDecibels = 0;
inline constexpr double kSnrHighestDecibels = 32.5;

struct Color {
  unsigned char red, green, blue;
};

// The template holds this colour in its palette; the bars are what is drawn in it.
inline constexpr Color kBarColor = {64, 128, 64};

// The mean of a bar's carriers.
template <class Value>
double BarValue(const Values<Value>& values, int bar) {
  const std::size_t first = static_cast<std::size_t>(bar) * kCarriersPerBar;
  const double value = static_cast<double>(values[first]);
  if (first + 1 == values.size()) return value;
  return (value + static_cast<double>(values[first + 1])) * 0.5;
}

// The height in rows of a bar, for any value whatever; that of no number (NaN) is 0.
int PowerHeight(double power);   // 0 to 330
int SnrHeight(double decibels);  // 0 to 325

}  // namespace Chart
