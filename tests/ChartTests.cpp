// SPDX-License-Identifier: MIT
//
// What the status charts are made of.
#include <gtest/gtest.h>

#include <limits>

#include "image/Chart.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

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
