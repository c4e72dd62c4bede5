// SPDX-License-Identifier: MIT
#include "platform/StringTable.h"

#include <cstdarg>
#include <utility>

#include "platform/ConfigKey.h"
#include "platform/Netstring.h"

namespace {

// The first byte of a framed table.
constexpr char kFrameByte = '\x01';

// The size of the smallest netstring, "0:,".
constexpr std::size_t kMinNetstringBytes = 3;

// Limit on the columns of a table without rows: its text has no cells that would limit them.
constexpr unsigned kMaxEmptyColumns = 65536;

// Takes a frame's first byte and its counts. False when the rest of the text can't hold the cells.
bool TakeCounts(std::string_view& text, unsigned& columns, unsigned& rows) {
  const std::size_t size = text.size();
  text.remove_prefix(1);
  if (!Netstring::TakeNumber(text, columns) || !Netstring::TakeNumber(text, rows)) return false;
  const std::uint64_t count = std::uint64_t{rows} * columns;
  // If one count is 0, nothing else limits the other one.
  if (count == 0) return rows <= size && columns <= kMaxEmptyColumns;
  return count <= text.size() / kMinNetstringBytes;
}

void AppendNumber(std::string& out, unsigned number) {
  out += std::to_string(number);
  out += ':';
}

}  // namespace

StringTable::StringTable(unsigned columns) : columns_(columns) {}

StringTable::StringTable(const std::string& text, ConstructionType type) : buffer_(text) {
  Construct(type);
}

StringTable::StringTable(std::string&& text, ConstructionType type) : buffer_(std::move(text)) {
  Construct(type);
}

void StringTable::Construct(ConstructionType type) {
  if (type == kQueryText) {
    ReadKeys();
  } else if (!ReadSerialized()) {
    *this = StringTable();
  }
}

bool StringTable::Read(std::string&& text, StringTable& table) {
  table = StringTable();
  table.buffer_ = std::move(text);
  if (table.ReadSerialized()) return true;
  table = StringTable();
  return false;
}

bool StringTable::ReadSerialized() {
  if (!IsBare(buffer_)) return ReadFrame();
  rows_ = columns_ = 1;
  cells_.push_back({0, static_cast<std::uint32_t>(buffer_.size())});
  return true;
}

bool StringTable::IsSerialized(std::string_view text) {
  if (IsBare(text)) return true;
  unsigned columns = 0;
  unsigned rows = 0;
  if (!TakeCounts(text, columns, rows)) return false;
  for (std::uint64_t cells = std::uint64_t{rows} * columns; cells > 0; --cells) {
    std::string_view cell;
    if (!Netstring::Take(text, cell)) return false;
  }
  return text.empty();
}

// Leaves the cells at their place in the text.
bool StringTable::ReadFrame() {
  std::string_view text = buffer_;
  if (!TakeCounts(text, columns_, rows_)) return false;
  cells_.resize(std::size_t{rows_} * columns_);
  for (Cell& place : cells_) {
    std::string_view cell;
    if (!Netstring::Take(text, cell)) return false;
    place = {static_cast<std::uint32_t>(cell.data() - buffer_.data()),
             static_cast<std::uint32_t>(cell.size())};
  }
  return text.empty();
}

void StringTable::ReadKeys() {
  columns_ = 1;
  for (std::string_view key : Config::Key::Split(buffer_)) {
    cells_.push_back({static_cast<std::uint32_t>(key.data() - buffer_.data()),
                      static_cast<std::uint32_t>(key.size())});
    ++rows_;
  }
}

void StringTable::AddCell(std::string_view bytes) {
  cells_.push_back(
      {static_cast<std::uint32_t>(buffer_.size()), static_cast<std::uint32_t>(bytes.size())});
  buffer_ += bytes;
}

void StringTable::AddRow(const char* first, ...) {
  va_list more;
  va_start(more, first);
  const char* cell = first;
  for (unsigned column = 0; column < columns_; ++column) {
    if (column > 0) cell = va_arg(more, const char*);
    AddCell(cell != nullptr ? cell : "");
  }
  va_end(more);
  ++rows_;
}

void StringTable::AddCells(const std::vector<std::string_view>& cells) {
  for (unsigned column = 0; column < columns_; ++column) {
    AddCell(column < cells.size() ? cells[column] : std::string_view());
  }
  ++rows_;
}

bool StringTable::IsBare(std::string_view cell) {
  return cell.empty() || cell[0] != kFrameByte;
}

std::string StringTable::FrameStart(unsigned columns, unsigned rows) {
  std::string text(1, kFrameByte);
  AppendNumber(text, columns);
  AppendNumber(text, rows);
  return text;
}

std::string StringTable::Serialize() const {
  return Serialize(columns_, rows_,
                   [this](unsigned row, unsigned column) { return View(row, column); });
}
