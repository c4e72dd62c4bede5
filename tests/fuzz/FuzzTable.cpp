// SPDX-License-Identifier: MIT
//
// Fuzz target: the serialised form of a table. The input is the text as it stands.
#include <string>

#include "platform/StringTable.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

void CheckTable(const std::string& text, const StringTable& table) {
  const bool framed = !text.empty() && text[0] == '\x01';
  if (!framed) {
    Check(table.Rows() == 1 && table.Columns() == 1 && table.Get(0, 0) == text,
          "a text without a frame is one cell");
    return;
  }
  if (table.Rows() == 0 && table.Columns() == 0) return;
  if (table.Rows() == 1 && table.Columns() == 1) {
    // A frame around a cell that needs none is understood, and not written.
    const StringTable again(table.Serialize(), StringTable::kSerialized);
    Check(again.Get(0, 0) == table.Get(0, 0), "a single cell stays what it is");
    return;
  }
  Check(table.Serialize() == text, "a table has one way to be written");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const StringTable table(text, StringTable::kSerialized);
  CheckTable(text, table);

  std::size_t total = 0;
  const bool small = table.Columns() != 0 && table.Rows() <= text.size();
  for (unsigned row = 0; small && row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      total += table.View(row, column).size();
    }
  }
  Check(total <= text.size(), "cells are parts of the text");
  Check(table.View(table.Rows(), 0).empty() && table.View(0, table.Columns()).empty() &&
            table.View(~0U, ~0U).empty(),
        "a cell that does not exist is empty");
  return 0;
}
