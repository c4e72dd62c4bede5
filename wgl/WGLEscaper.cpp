// SPDX-License-Identifier: MIT
#include "wgl/WGLEscaper.h"

#include <cstddef>

#include "platform/StringEscaper.h"
#include "wgl/WGLCharacters.h"

namespace {

// The character reference for a byte, null for one that needs none.
const char* Entity(char byte) {
  switch (byte) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

}  // namespace

std::string WGLEscaper::Escape(const std::string& value) const {
  if (mode_ == "htmltext") return MakeHtmlEntities(value);
  if (mode_ == "htmlesc") return HtmlEscape(value);
  if (mode_ == "json") return StringEscaper("\\\"", '\\').Escape(value);
  return value;
}

std::string WGLEscaper::MakeHtmlEntities(const std::string& value) const {
  std::string result;
  result.reserve(value.size());
  std::size_t copied = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char* entity = Entity(value[i]);
    if (entity == nullptr) continue;
    result.append(value, copied, i - copied).append(entity);
    copied = i + 1;
  }
  return result.append(value, copied, std::string::npos);
}

std::string WGLEscaper::HtmlEscape(const std::string& value) const {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(value.size());
  std::size_t copied = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (IsAsciiAlphanumeric(value[i])) continue;
    const auto code = static_cast<unsigned char>(value[i]);
    const char escape[] = {'%', kDigits[code / 16], kDigits[code % 16]};
    result.append(value, copied, i - copied).append(escape, sizeof escape);
    copied = i + 1;
  }
  return result.append(value, copied, std::string::npos);
}
