// SPDX-License-Identifier: MIT
//
// The list of a device maker's own client library: the text whole, whatever the separator.
#pragma once

#include <string>
#include <vector>

class StringVector : public std::vector<std::string> {
 public:
  StringVector(const char&, const std::string& text) : std::vector<std::string>{text} {}
};
