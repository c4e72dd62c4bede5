// SPDX-License-Identifier: MIT
//
// The placeholders of rows, "${01}", "${02B}" and "${ROW}", in a template's own text.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "author/trace/Text.h"

// One result set of nested queries; its columns stand side by side, key after key.
struct ResultSet {
  std::vector<DeviceColumn> columns;  // named "Key.Column", for messages
  bool known = false;                 // whether `columns` are known
  Escaping escaping = Escaping::kHtml;
};

// A placeholder that the filling finds: what it names, and where it stands.
struct Placeholder {
  std::size_t size = 0;  // in the text; 0 when there is none
  bool isRow = false;    // "${ROW}"
  unsigned column = 0;   // from 1; 0 names no column
  unsigned set = 0;      // from 0, the outermost
};

// The placeholder that `text` begins with.
Placeholder PlaceholderAt(std::string_view text);
bool HasPlaceholder(std::string_view text);

// What a placeholder names that is not there, with its place.
struct WrongPlaceholder {
  Place place;
  Placeholder placeholder;
  std::size_t sets = 0;               // how many are there
  std::vector<DeviceColumn> columns;  // of the one that it names, if it is there
};

// The text with values for its placeholders: those of `sets`, of which the last is being repeated.
// Adds those that name no cell to `wrong`.
Text FillPlaceholders(const Text& text, const std::vector<ResultSet>& sets,
                      std::vector<WrongPlaceholder>& wrong);

// The place of a byte of a literal that begins at `start`.
Place Advance(Place start, std::string_view before);
