// SPDX-License-Identifier: MIT
//
// What the scanner makes of a template, as a text that can be compared and read.
#pragma once

#include <string>

class TokenList {
 public:
  // A token by its code. Pieces of text that follow each other become one: where text is cut
  // carries no meaning.
  void Add(int code, const std::string& text);

  // The tokens in order: text and variables in quotes, other tokens by their spelling.
  std::string Text() const;

 private:
  std::string list_;
  std::string chars_;  // text not in the list yet
};
