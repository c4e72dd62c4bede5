// SPDX-License-Identifier: MIT
//
// The escaper of a device maker's own client library: marks what it was given.
#pragma once

#include <string>

class StringEscaper {
 public:
  StringEscaper(std::string, char) {}
  std::string Escape(const std::string& text) const { return "escaped:" + text; }
};
