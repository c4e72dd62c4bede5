// SPDX-License-Identifier: MIT
//
// An outline is the text of an SVG path: across, the number of the carrier; upwards, decibels above
// the bottom, as negative numbers, because pictures count downwards.
#include "simulator/Bands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "simulator/Powerline.h"

namespace Bands {
namespace {

constexpr double kFirstCarrierMegahertz = 1.8;
constexpr double kCarrierSpacingMegahertz = 25.0 / 1024;

// The borders of the bands, in MHz: whole numbers, for people.
constexpr std::array<int, 7> kBorders = {2, 5, 10, 15, 20, 25, 30};

// Carriers of one step of an outline: fewer than a pixel of most screens shows.
constexpr std::size_t kCarriersPerStep = 4;

// Below 10 dB a carrier takes two bits at most and a connection carries no film in high definition;
// below 5 dB it breaks off now and then.
constexpr double kVeryGoodDecibels = 20;
constexpr double kGoodDecibels = 10;
constexpr double kWeakDecibels = 5;

std::string Decimal(double number) {
  char text[32];
  const int size = std::snprintf(text, sizeof text, "%.1f", number);
  return std::string(text, static_cast<std::size_t>(size));
}

// The first carrier from that frequency on; the first of all for the lowest border, and the one
// after the last for the highest.
std::size_t CarrierAt(std::size_t border) {
  if (border == 0) return 0;
  if (border + 1 == kBorders.size()) return Powerline::kCarriers;
  return static_cast<std::size_t>(
      std::ceil((kBorders[border] - kFirstCarrierMegahertz) / kCarrierSpacingMegahertz));
}

std::string Outline(const Measure& measure, std::size_t begin, std::size_t end) {
  std::string path = "M" + std::to_string(begin) + ",0";
  long level = 0;
  for (std::size_t at = begin; at < end; at += kCarriersPerStep) {
    const std::size_t next = std::min(at + kCarriersPerStep, end);
    double sum = 0;
    for (std::size_t carrier = at; carrier < next; ++carrier) sum += measure.decibels(carrier);
    const double mean = sum / static_cast<double>(next - at);
    const long height = std::max(std::lround(mean - measure.bottom), 0L);
    if (height == level && at > begin) path.erase(path.rfind('H'));
    if (height != level) path.append("V").append(std::to_string(-height));
    path.append("H").append(std::to_string(next));
    level = height;
  }
  return path + "V0Z";
}

}  // namespace

std::string_view QualityOf(double decibels) {
  if (decibels >= kVeryGoodDecibels) return "very-good";
  if (decibels >= kGoodDecibels) return "good";
  return decibels >= kWeakDecibels ? "weak" : "very-weak";
}

std::vector<std::string> Columns(std::string_view word) {
  return {"Band", "From", "To", "Mean", std::string(word), "Outline"};
}

void AppendTo(StringTable& table, const std::vector<std::string>& first, const Measure& measure) {
  for (std::size_t band = 0; band + 1 < kBorders.size(); ++band) {
    const std::size_t begin = CarrierAt(band);
    const std::size_t end = CarrierAt(band + 1);
    double sum = 0;
    std::size_t used = 0;
    for (std::size_t carrier = begin; carrier < end; ++carrier) {
      if (!measure.isUsed(carrier)) continue;
      sum += measure.decibels(carrier);
      ++used;
    }
    const double mean = sum / static_cast<double>(std::max<std::size_t>(used, 1));
    std::vector<std::string> cells = first;
    cells.push_back(std::to_string(band + 1));
    cells.push_back(std::to_string(kBorders[band]));
    cells.push_back(std::to_string(kBorders[band + 1]));
    cells.push_back(Decimal(mean));
    cells.emplace_back(measure.wordFor(mean));
    cells.push_back(Outline(measure, begin, end));
    table.AddCells(std::vector<std::string_view>(cells.begin(), cells.end()));
  }
}

}  // namespace Bands
