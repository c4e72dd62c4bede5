// SPDX-License-Identifier: MIT
// A table of one column, with nothing but what the program needs; serialised, "|" separates its
// cells.
#pragma once

#include <string>
#include <vector>

class StringTable {
 public:
  enum ConstructionType { kReply, kQuery };
  explicit StringTable(unsigned columns = 0) : columns_(columns) {}
  StringTable(const std::string& text, ConstructionType type) : columns_(1), cells_(1) {
    for (const char byte : text) {
      if (byte == (type == kQuery ? ';' : '|')) {
        cells_.emplace_back();
      } else {
        cells_.back() += byte;
      }
    }
  }
  void AddRow(const char* cell, ...) { cells_.push_back(cell); }
  std::string Get(unsigned row, unsigned) const { return row < Rows() ? cells_[row] : ""; }
  unsigned Rows() const { return static_cast<unsigned>(cells_.size()); }
  unsigned Columns() const { return columns_; }
  std::string Serialize() const {
    std::string text;
    for (const std::string& cell : cells_) text += (text.empty() ? "" : "|") + cell;
    return text;
  }

 private:
  unsigned columns_;
  std::vector<std::string> cells_;
};
