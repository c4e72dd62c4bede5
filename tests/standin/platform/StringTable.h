// SPDX-License-Identifier: MIT
//
// The table of a device maker's own client library: nothing but what the program can't do without.
#pragma once

#include <string>
#include <vector>

class StringTable {
 public:
  enum ConstructionType { kReply, kQuery };

  StringTable() = default;
  explicit StringTable(unsigned columns) : columns_(columns) {}
  StringTable(const std::string& text, ConstructionType type);

  void AddRow(const char* first, ...);
  std::string Get(unsigned row, unsigned column) const;
  unsigned Rows() const;
  unsigned Columns() const { return columns_; }
  std::string Serialize() const;

 private:
  std::vector<std::string> cells_;
  unsigned columns_ = 0;
};
