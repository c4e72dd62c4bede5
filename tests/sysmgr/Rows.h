// SPDX-License-Identifier: MIT
//
// Tables of tests as a text: a row a line, its cells with "=>" between them and blanks around them.
// A line that begins with "=>" goes on with the row before it.
#pragma once

#include <sstream>
#include <string>
#include <vector>

inline std::string Trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

inline std::vector<std::vector<std::string>> Rows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line = Trim(line);
    if (line.empty()) continue;
    const bool goesOn = line.rfind("=>", 0) == 0;
    if (!goesOn) rows.emplace_back();
    for (std::size_t at = goesOn ? 2 : 0, end = 0; end != std::string::npos; at = end + 2) {
      end = line.find("=>", at);
      rows.back().push_back(Trim(line.substr(at, end - at)));
    }
  }
  return rows;
}
