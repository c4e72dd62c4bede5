// SPDX-License-Identifier: MIT
//
// A list of strings that can be cut out of a text and joined into one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class StringVector : public std::vector<std::string> {
 public:
  StringVector() = default;

  // The pieces of `text` between separators, in order. Every separator ends a piece, so pieces may
  // be empty; a text without a separator is one piece, the empty text is none.
  StringVector(const char& separator, std::string_view text);

  // The strings with `separator` between them.
  std::string Join(std::string_view separator) const;
};
