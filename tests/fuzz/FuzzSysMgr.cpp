// SPDX-License-Identifier: MIT
#include "tests/fuzz/FuzzSysMgr.h"

#include <string>
#include <vector>

#include "query/SysMgr.h"

namespace {

constexpr unsigned kMaxColumns = 3;
constexpr unsigned kMaxRows = 3;
constexpr unsigned kMaxRepeatingQueries = 4;

constexpr const char* kCells[] = {"", "<b>\"'&", "\\${01}${ROW}", "plain text of some length", "0"};

unsigned gQueries = 0;
const std::string* gCell = nullptr;

}  // namespace

void RestartSysMgr() {
  gQueries = 0;
}

void AnswerSysMgrWith(const std::string* cell) {
  gCell = cell;
}

StringTable SysMgr_Query(const StringTable& query) {
  if (gCell != nullptr) {
    StringTable table(1);
    table.AddCells({*gCell});
    return table;
  }
  if (query.Rows() == 0) return StringTable();
  const unsigned columns = query.Rows() < kMaxColumns ? query.Rows() : kMaxColumns;
  const std::string key = query.Get(0, 0);
  const unsigned most = ++gQueries <= kMaxRepeatingQueries ? kMaxRows : 1;
  const unsigned rows = static_cast<unsigned>(key.size()) % (most + 1);
  StringTable table(columns);
  for (unsigned row = 0; row < rows; ++row) {
    std::vector<std::string> cells;
    for (unsigned column = 0; column < columns; ++column) {
      const std::size_t kind = (key.size() + row * columns + column) % std::size(kCells);
      cells.push_back(kind == 0 ? query.Get(column, 0) : kCells[kind]);
    }
    table.AddCells(std::vector<std::string_view>(cells.begin(), cells.end()));
  }
  // By way of the form in which a real answer comes.
  return StringTable(table.Serialize(), StringTable::kSerialized);
}
