// SPDX-License-Identifier: MIT
//
// A table of byte strings, addressed by row and column from 0: the form of requests to the system
// manager and of its answers. docs/protocol.md describes the serialised form.
//
// All cells are in one buffer; a table of thousands of cells costs two allocations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Netstring.h"

class StringTable {
 public:
  enum ConstructionType : int {
    kSerialized = 0,  // reads what Serialize wrote; any other text gives no rows and no columns
    kQueryText = 1,   // one column, a row for each key of a query text, see Config::Key::Split
  };

  // No rows, no columns.
  StringTable() = default;

  // No rows.
  explicit StringTable(unsigned columns);

  // Takes at most a fixed multiple of the text's size in memory, whatever numbers the text holds.
  StringTable(const std::string& text, ConstructionType type);
  StringTable(std::string&& text, ConstructionType type);

  // Reads what Serialize wrote. Returns false, and leaves an empty table, when the text is a frame
  // that is cut or malformed.
  static bool Read(std::string&& text, StringTable& table);

  // Whether the text is a serialised table, and not a frame that is cut or malformed.
  static bool IsSerialized(std::string_view text);

  // Appends one row of exactly Columns() C strings; null reads as the empty string.
  void AddRow(const char* first, ...);

  // Appends one row. Missing cells are empty, and cells beyond Columns() are left out. Unlike a C
  // string, a cell may hold NUL bytes. No cell may be a part of this table itself.
  void AddCells(const std::vector<std::string_view>& cells);

  // A copy of the cell; "" for a cell that doesn't exist.
  std::string Get(unsigned row, unsigned column) const { return std::string(View(row, column)); }

  // The same without a copy, valid until the table changes or is destroyed.
  std::string_view View(unsigned row, unsigned column) const {
    const std::size_t index = std::size_t{row} * columns_ + column;
    if (row >= rows_ || column >= columns_ || index >= cells_.size()) return std::string_view();
    return {buffer_.data() + cells_[index].offset, cells_[index].size};
  }

  unsigned Rows() const { return rows_; }
  unsigned Columns() const { return columns_; }

  std::string Serialize() const;

  // The same for cells that stand elsewhere: `cell(row, column)` gives each as a std::string_view.
  template <typename CellAt>
  static std::string Serialize(unsigned columns, unsigned rows, const CellAt& cell) {
    std::string text;
    if (rows == 1 && columns == 1 && IsBare(cell(0, 0))) return text.assign(cell(0, 0));
    text = FrameStart(columns, rows);
    std::size_t size = text.size();
    for (unsigned row = 0; row < rows; ++row) {
      for (unsigned i = 0; i < columns; ++i) size += Netstring::SizeFor(cell(row, i).size());
    }
    const std::size_t start = text.size();
    text.resize(size);
    char* end = &text[start];
    for (unsigned row = 0; row < rows; ++row) {
      for (unsigned i = 0; i < columns; ++i) end = Netstring::Write(end, cell(row, i));
    }
    return text;
  }

 private:
  struct Cell {
    std::uint32_t offset;  // into buffer_
    std::uint32_t size;
  };

  // A single cell that is serialised as it is, without a frame.
  static bool IsBare(std::string_view cell);
  static std::string FrameStart(unsigned columns, unsigned rows);

  void Construct(ConstructionType type);
  bool ReadSerialized();
  bool ReadFrame();
  void ReadKeys();
  void AddCell(std::string_view bytes);

  std::string buffer_;
  std::vector<Cell> cells_;  // row by row
  unsigned rows_ = 0;
  unsigned columns_ = 0;
};
