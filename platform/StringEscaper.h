// SPDX-License-Identifier: MIT
//
// Puts an escape character before every character of a given set and changes nothing else.
#pragma once

#include <string>

class StringEscaper {
 public:
  // `specials`: the bytes to escape. To be able to undo the escaping, include `escape`.
  StringEscaper(std::string specials, char escape);

  std::string Escape(const std::string& text) const;

 private:
  std::string specials_;
  char escape_;
};
