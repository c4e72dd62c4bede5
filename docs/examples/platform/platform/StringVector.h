// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

// The pieces of a text between separators.
struct StringVector : std::vector<std::string> {
  StringVector(const char& separator, const std::string& text) {
    std::string::size_type start = 0;
    std::string::size_type end = 0;
    while ((end = text.find(separator, start)) != std::string::npos) {
      push_back(text.substr(start, end - start));
      start = end + 1;
    }
    if (start < text.size()) push_back(text.substr(start));
  }
};
