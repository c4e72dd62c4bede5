// SPDX-License-Identifier: MIT
//
// What the status charts are made of: heights, and the templates that come with the site.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "image/Chart.h"
#include "tests/GifFile.h"

using namespace std::string_literals;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr GifFile::Color kGreen = {64, 128, 64};

}  // namespace

TEST(Chart, Heights) {
  const struct {
    double value;
    int power, snr;
  } rows[] = {
      {0, 0, 0},          {-0.0, 0, 0},      {-1, 0, 0},          {1, 59, 10},
      {0.099, 0, 0},      {0.1, 0, 1},       {0.256, 0, 2},  // -30 dB
      {0.262, 1, 2},                                         // -29.9 dB
      {20.5, 190, 205},   {25.6, 200, 256},                  // -10 dB
      {32.5, 210, 325},   {32.51, 210, 325}, {40, 219, 325},      {255, 299, 325},
      {256, 300, 325},    {322.2, 309, 325}, {322.3, 310, 325},   {510, 329, 325},
      {511, 330, 325},    {512, 330, 325},   {2560000, 330, 325}, {4294967295.0, 330, 325},
      {1e308, 330, 325},  {-1e308, 0, 0},    {5e-324, 0, 0},      {kInfinity, 330, 325},
      {-kInfinity, 0, 0}, {kNaN, 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Chart::PowerHeight(row.value), row.power) << row.value;
    EXPECT_EQ(Chart::SnrHeight(row.value), row.snr) << row.value;
  }
}

// The templates that the style "std" has: made from the constants that place the bars, and compared
// here with places of their own.
TEST(Chart, TemplatesOfTheSite) {
  for (const char* name : {"power", "snr"}) {
    std::ifstream file(VISTEL_TEST_CHARTS "/"s + name + "_template.gif", std::ios::binary);
    const GifFile gif = Decode({std::istreambuf_iterator<char>(file), {}});
    ASSERT_EQ(gif.pictures, 1) << name;
    EXPECT_GE(gif.width, 640);
    EXPECT_GE(gif.height, 420);
    const auto& palette = gif.palette;
    ASSERT_EQ(std::count(palette.begin(), palette.end(), kGreen), 1);
    const auto green = std::find(palette.begin(), palette.end(), kGreen) - palette.begin();
    EXPECT_EQ(gif.pixels.find(static_cast<char>(green)), std::string::npos) << name;

    const auto at = [&](int x, int y) {
      return gif.pixels[static_cast<std::size_t>(y * gif.width + x)];
    };
    // The axes stand right beside and below the bars; a tick for each 5 dB and 5 MHz.
    const char axis = at(30, 385);
    std::vector<int> rows;
    for (int y = 0; y < gif.height; ++y) {
      if (at(25, y) == axis) rows.push_back(y);
      EXPECT_EQ(at(30, y) == axis, y >= (name == "power"s ? 55 : 60) && y <= 385) << y;
    }
    EXPECT_EQ(rows, (std::vector<int>{85, 135, 185, 235, 285, 335, 385})) << name;
    std::vector<int> columns;
    for (int x = 0; x < gif.width; ++x) {
      if (at(x, 390) == axis) columns.push_back(x);
      EXPECT_EQ(at(x, 385) == axis, x >= 25 && x <= 609) << x;
    }
    EXPECT_EQ(columns, (std::vector<int>{96, 198, 301, 403, 506, 608})) << name;
  }
}
