// SPDX-License-Identifier: MIT
//
// How the numbers of a table's rows have been for a day: a mean for each five minutes, in memory,
// and when each row was last missing. The rule to know: what it costs is bounded, whatever the
// table holds, and it asks for nothing by itself (History.h does).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/Sources.h"
#include "sysmgr/model/Model.h"

class Recording {
 public:
  static constexpr std::int64_t kStepSeconds = 300;
  static constexpr std::size_t kSteps = 288;  // a day

  // The most rows: no household has more adapters. With three values for each, they take 128 KiB.
  static constexpr std::size_t kMaxRows = 64;

  // The most points of a trend, for a line that is an inch wide.
  static constexpr std::size_t kTrendSteps = 48;

  // The largest number that is kept; larger ones are kept as this.
  static constexpr std::uint16_t kLargest = 65534;

  explicit Recording(ModelHistory what);

  // Takes the table as it is now. `names` are the columns of its rows; rows without a name are
  // skipped. Cells that don't begin with a number count as missing. `now`: seconds of the monotonic
  // clock.
  void Add(std::int64_t now, const std::vector<std::string>& names,
           const std::vector<LiveRow>& rows);

  // Forgets everything.
  void Clear();

  // A row for each row of the table that was there in the last day, those that came first first.
  // Their columns are those of ModelHistory::Columns.
  std::vector<LiveRow> Rows(std::int64_t now) const;

 private:
  static constexpr std::uint16_t kNone = 65535;

  using Steps = std::array<std::uint16_t, kSteps>;

  // The means of a value, by the number of their step modulo kSteps, and the sum of those that the
  // last step's mean is made of.
  struct Value {
    Steps means;
    std::uint64_t sum = 0;
    std::uint32_t count = 0;
  };

  struct Row {
    std::string name;
    std::vector<std::string> kept;
    std::vector<Value> values;
    std::int64_t since = 0;       // the first time that it was there
    std::int64_t lastSeen = 0;    // the last one
    std::int64_t awayFrom = -1;   // when it was last found missing; below 0 for never
    std::int64_t awayUntil = -1;  // when it was there again
    bool isHere = true;
  };

  void Advance(std::int64_t step);
  Row* RowOf(const std::string& name, std::int64_t now);
  void AppendValue(const Value& value, bool isLong, LiveRow& cells) const;
  std::string Line(const Steps& means, std::size_t steps, std::size_t perPoint) const;

  ModelHistory what_;
  std::vector<Row> rows_;
  std::int64_t begin_ = -1;  // the first time; below 0 before it
  std::int64_t step_ = 0;    // the number of the last step
};
