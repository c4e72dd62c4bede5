// SPDX-License-Identifier: MIT
//
// Steps are counted from the start of the monotonic clock, so all rows share their borders. A line
// is the text of an SVG path: a level for each step, at minus its value, because pictures count
// downwards.
#include "sysmgr/device/Recording.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace {

constexpr std::int64_t kLongSeconds =
    Recording::kStepSeconds * static_cast<std::int64_t>(Recording::kSteps);

// As long as the record is not longer than this, a trend shows these last hours, step by step.
constexpr std::int64_t kShortSeconds =
    Recording::kStepSeconds * static_cast<std::int64_t>(Recording::kTrendSteps);

std::size_t IndexOf(const std::vector<std::string>& names, const std::string& name) {
  return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

// False when the cell does not begin with a number that is not below 0.
bool ReadNumber(const std::string& cell, std::uint16_t& number) {
  std::uint64_t read = 0;
  const auto [next, error] = std::from_chars(cell.data(), cell.data() + cell.size(), read);
  if (error != std::errc()) return false;
  number = static_cast<std::uint16_t>(std::min<std::uint64_t>(read, Recording::kLargest));
  return true;
}

std::string Minutes(std::int64_t seconds) {
  return std::to_string(seconds / 60);
}

// Appends the level of a point; equal ones next to each other become one.
void AppendLevel(std::string& path, std::size_t& end, std::uint16_t& level, std::size_t point,
                 std::uint16_t next) {
  if (end != point) {
    path.append("M").append(std::to_string(point)).append(",-").append(std::to_string(next));
  } else if (level == next) {
    path.erase(path.rfind('H'));
  } else {
    path.append("V-").append(std::to_string(next));
  }
  level = next;
  end = point + 1;
  path.append("H").append(std::to_string(end));
}

}  // namespace

Recording::Recording(ModelHistory what) : what_(std::move(what)) {}

void Recording::Clear() {
  rows_.clear();
  begin_ = -1;
}

// Steps without any value stay empty.
void Recording::Advance(std::int64_t step) {
  if (step == step_) return;
  const std::int64_t first = std::max(step_ + 1, step - static_cast<std::int64_t>(kSteps) + 1);
  for (Row& row : rows_) {
    for (Value& value : row.values) {
      for (std::int64_t each = first; each <= step; ++each) {
        value.means[static_cast<std::size_t>(each) % kSteps] = kNone;
      }
      value.sum = 0;
      value.count = 0;
    }
  }
  step_ = step;
}

// When there are too many, a new row takes the place of the one that has been away for longest.
// Null when all are there.
Recording::Row* Recording::RowOf(const std::string& name, std::int64_t now) {
  const auto found = std::find_if(rows_.begin(), rows_.end(),
                                  [&name](const Row& row) { return row.name == name; });
  if (found != rows_.end()) return &*found;
  if (rows_.size() == kMaxRows) {
    const auto oldest =
        std::min_element(rows_.begin(), rows_.end(),
                         [](const Row& a, const Row& b) { return a.lastSeen < b.lastSeen; });
    if (oldest->isHere) return nullptr;
    rows_.erase(oldest);
  }
  Row row;
  row.name = name;
  row.kept.resize(what_.keeps.size());
  row.values.resize(what_.values.size());
  for (Value& value : row.values) value.means.fill(kNone);
  row.since = now;
  rows_.push_back(std::move(row));
  return &rows_.back();
}

void Recording::Add(std::int64_t now, const std::vector<std::string>& names,
                    const std::vector<LiveRow>& rows) {
  if (begin_ < 0) begin_ = now;
  Advance(now / kStepSeconds);
  const std::size_t nameColumn = IndexOf(names, what_.row);
  for (const LiveRow& cells : rows) {
    Row* const row = cells[nameColumn].empty() ? nullptr : RowOf(cells[nameColumn], now);
    if (row == nullptr) continue;
    row->lastSeen = now;
    if (!row->isHere) row->awayUntil = now;
    row->isHere = true;
    for (std::size_t i = 0; i < what_.keeps.size(); ++i) {
      row->kept[i] = cells[IndexOf(names, what_.keeps[i])];
    }
    for (std::size_t i = 0; i < what_.values.size(); ++i) {
      std::uint16_t number = 0;
      if (!ReadNumber(cells[IndexOf(names, what_.values[i])], number)) continue;
      Value& value = row->values[i];
      value.sum += number;
      ++value.count;
      value.means[static_cast<std::size_t>(step_) % kSteps] =
          static_cast<std::uint16_t>((value.sum + value.count / 2) / value.count);
    }
  }
  for (Row& row : rows_) {
    if (!row.isHere || row.lastSeen == now) continue;
    row.isHere = false;
    row.awayFrom = now;
  }
  rows_.erase(std::remove_if(rows_.begin(), rows_.end(),
                             [now](const Row& row) { return now - row.lastSeen > kLongSeconds; }),
              rows_.end());
}

// The path over the last `steps` steps, with the mean of `perPoint` of them at each point.
std::string Recording::Line(const Steps& means, std::size_t steps, std::size_t perPoint) const {
  std::string path;
  std::size_t end = kSteps;  // of the last level; no point has this number
  std::uint16_t level = kNone;
  for (std::size_t point = 0; point < steps / perPoint; ++point) {
    std::uint32_t sum = 0;
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < perPoint; ++i) {
      const std::size_t age = steps - 1 - (point * perPoint + i);
      const std::int64_t step = step_ - static_cast<std::int64_t>(age);
      if (step < 0) continue;
      const std::uint16_t mean = means[static_cast<std::size_t>(step) % kSteps];
      if (mean == kNone) continue;
      sum += mean;
      ++count;
    }
    if (count == 0) continue;
    const auto next = static_cast<std::uint16_t>((sum + count / 2) / count);
    AppendLevel(path, end, level, point, next);
  }
  return path;
}

void Recording::AppendValue(const Value& value, bool isLong, LiveRow& cells) const {
  std::uint16_t least = kNone;
  std::uint16_t most = 0;
  std::uint32_t sum = 0;
  std::uint32_t count = 0;
  for (const std::uint16_t mean : value.means) {
    if (mean == kNone) continue;
    least = std::min(least, mean);
    most = std::max(most, mean);
    sum += mean;
    ++count;
  }
  cells.push_back(isLong ? Line(value.means, kSteps, kSteps / kTrendSteps)
                         : Line(value.means, kTrendSteps, 1));
  cells.push_back(Line(value.means, kSteps, 1));
  for (const std::uint32_t number :
       {std::uint32_t{least}, (sum + count / 2) / std::max(count, 1U), std::uint32_t{most}}) {
    cells.push_back(count == 0 ? "" : std::to_string(number));
  }
}

std::vector<LiveRow> Recording::Rows(std::int64_t now) const {
  std::vector<LiveRow> rows;
  const bool isLong = now - begin_ > kShortSeconds;
  for (const Row& row : rows_) {
    LiveRow cells = {row.name};
    cells.insert(cells.end(), row.kept.begin(), row.kept.end());
    cells.emplace_back(row.isHere ? "1" : "0");
    const bool wasAway = row.awayFrom >= 0 && (!row.isHere || now - row.awayUntil <= kLongSeconds);
    const std::int64_t until = row.isHere ? row.awayUntil : now;
    cells.push_back(wasAway ? Minutes(now - until) : "");
    cells.push_back(wasAway ? Minutes(until - row.awayFrom) : "");
    cells.push_back(Minutes(std::min(now - row.since, kLongSeconds)));
    cells.push_back(Minutes(isLong ? kLongSeconds : kShortSeconds));
    for (const Value& value : row.values) AppendValue(value, isLong, cells);
    rows.push_back(std::move(cells));
  }
  return rows;
}
