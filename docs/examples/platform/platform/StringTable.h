// SPDX-License-Identifier: MIT
//
// A table of texts. Its text form is the library's own matter, because only the library reads it;
// here, tabs end cells' places in a row and newlines end rows.
#pragma once

#include <string>
#include <vector>

class StringTable {
 public:
  // kQuery: what a template's query says, keys with ";" between them; each is a row.
  enum ConstructionType { kReply, kQuery };

  StringTable() = default;
  explicit StringTable(unsigned columns) : columns_(columns) {}
  StringTable(const std::string& text, ConstructionType type);

  // As many cells as there are columns.
  void AddRow(const char* cell, ...);
  void AddRow(const std::vector<std::string>& cells);

  // The empty text where there is no such cell.
  std::string Get(unsigned row, unsigned column) const;
  unsigned Rows() const { return static_cast<unsigned>(rows_.size()); }
  unsigned Columns() const { return columns_; }
  std::string Serialize() const;

 private:
  unsigned columns_ = 1;
  std::vector<std::vector<std::string>> rows_;
};
