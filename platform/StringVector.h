// SPDX-License-Identifier: MIT
//
// A list of strings, which can be split from a text and joined into one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class StringVector : public std::vector<std::string> {
 public:
  StringVector() = default;

  // The pieces of `text` between separators, in order. Every separator ends a piece, so pieces may
  // be empty. A text without a separator is one piece; the empty text has none.
  StringVector(const char& separator, std::string_view text);

  // The strings with `separator` between them.
  std::string Join(std::string_view separator) const;
};
