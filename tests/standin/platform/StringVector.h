// SPDX-License-Identifier: MIT
// A list that holds the text whole, whatever the separator.
#pragma once

#include <string>
#include <vector>

struct StringVector : std::vector<std::string> {
  StringVector(const char&, const std::string& text) : std::vector<std::string>{text} {}
};
