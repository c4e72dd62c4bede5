// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// Puts a byte before each of some others.
class StringEscaper {
 public:
  StringEscaper(std::string specials, char escape) : specials_(specials), escape_(escape) {}

  std::string Escape(const std::string& text) const {
    std::string escaped;
    for (const char byte : text) {
      if (specials_.find(byte) != std::string::npos) escaped += escape_;
      escaped += byte;
    }
    return escaped;
  }

 private:
  std::string specials_;
  char escape_;
};
