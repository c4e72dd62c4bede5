// SPDX-License-Identifier: MIT
// Marks what it was given.
#pragma once

#include <string>

struct StringEscaper {
  StringEscaper(std::string, char) {}
  std::string Escape(const std::string& text) const { return "escaped:" + text; }
};
