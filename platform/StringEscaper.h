// SPDX-License-Identifier: MIT
//
// Puts an escape character in front of every character of a given set; nothing else is changed.
#pragma once

#include <string>

class StringEscaper {
 public:
  // `specials`: the bytes to escape. A text that must be readable again names `escape` among them.
  StringEscaper(std::string specials, char escape);

  std::string Escape(const std::string& text) const;

 private:
  std::string specials_;
  char escape_;
};
