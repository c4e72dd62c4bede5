// SPDX-License-Identifier: MIT
#include "platform/StringEscaper.h"

#include <utility>

StringEscaper::StringEscaper(std::string specials, char escape)
    : specials_(std::move(specials)), escape_(escape) {}

std::string StringEscaper::Escape(const std::string& text) const {
  std::string result;
  result.reserve(text.size());
  for (char byte : text) {
    if (specials_.find(byte) != std::string::npos) result += escape_;
    result += byte;
  }
  return result;
}
