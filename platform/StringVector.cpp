// SPDX-License-Identifier: MIT
#include "platform/StringVector.h"

#include <cstddef>

StringVector::StringVector(const char& separator, std::string_view text) {
  if (text.empty()) return;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(separator, start);
    emplace_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return;
    start = end + 1;
  }
}

std::string StringVector::Join(std::string_view separator) const {
  std::string result;
  for (const std::string& piece : *this) {
    if (&piece != &front()) result += separator;
    result += piece;
  }
  return result;
}
