// SPDX-License-Identifier: MIT
//
// A POSIX regular expression (IEEE Std 1003.1, chapter 9), compiled once and matched against any
// byte string, even with NUL bytes. "." matches every byte but NUL, including a newline; where the
// C library has no REG_STARTEND (musl), it matches NUL as well.
#pragma once

#include <regex.h>

#include <string>
#include <vector>

class RegExp {
 public:
  // The bits of `flags`.
  enum Flag : int {
    kExtended = 1,    // extended syntax; without it, basic syntax
    kIgnoreCase = 2,  // letters match in either case
  };

  // A pattern that can't be compiled matches nothing.
  RegExp(const std::string& pattern, int flags);
  ~RegExp();
  RegExp(const RegExp&) = delete;
  RegExp& operator=(const RegExp&) = delete;

  // Whether the pattern matches somewhere in `text`. On a match, `groups`, if given, receives the
  // whole match and then one entry for each capture group, "" for a group that took no part.
  // Without a match it is untouched.
  bool Match(const std::string& text, std::vector<std::string>* groups = nullptr) const;

 private:
  regex_t compiled_;
  bool valid_;
};
