// SPDX-License-Identifier: MIT
//
// The carriers in six bands of frequencies, for people: a mean, a word and the outline of each. The
// words for a connection and for a band come from one scale.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/StringTable.h"

namespace Bands {

// very-good, good, weak or very-weak, for a mean signal-to-noise ratio in dB.
std::string_view QualityOf(double decibels);

// What a table tells about each carrier.
struct Measure {
  std::function<bool(std::size_t carrier)> isUsed;       // the others count for no mean
  std::function<double(std::size_t carrier)> decibels;   // of a carrier
  double bottom;                                         // the level where the outline begins, dB
  std::function<std::string_view(double mean)> wordFor;  // for a band's mean, in dB
};

// The columns that AppendTo fills: Band (from 1), From, To (MHz), Mean (dB), the word, Outline.
std::vector<std::string> Columns(std::string_view word);

// Appends a row for each band; `first` are the cells before its own.
void AppendTo(StringTable& table, const std::vector<std::string>& first, const Measure& measure);

}  // namespace Bands
