// SPDX-License-Identifier: MIT
//
// Cuts texts into characters. Malformed UTF-8 has no characters, and U+FFFE and U+FFFF don't count
// as characters, because XML can't hold them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "base/Characters.h"

namespace Utf8 {

// The number of bytes of the character that `text` begins with; 0 if it is malformed.
inline std::size_t CharacterSize(std::string_view text) {
  if (text.empty()) return 0;
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t size = lead < 0x80   ? 1
                           : lead < 0xC2 ? 0
                           : lead < 0xE0 ? 2
                           : lead < 0xF0 ? 3
                           : lead < 0xF5 ? 4
                                         : 0;
  if (size > text.size()) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0;
  }
  if (size > 2) {
    // Refuses overlong forms, surrogates, and numbers beyond the last character.
    const auto next = static_cast<unsigned char>(text[1]);
    if ((lead == 0xE0 && next < 0xA0) || (lead == 0xED && next > 0x9F) ||
        (lead == 0xF0 && next < 0x90) || (lead == 0xF4 && next > 0x8F)) {
      return 0;
    }
    if (lead == 0xEF && next == 0xBF && static_cast<unsigned char>(text[2]) > 0xBD) return 0;
  }
  return size;
}

// Whether a character, as CharacterSize cuts it, is a control character: U+0000 to U+001F and
// U+007F to U+009F. Terminals obey both ranges.
inline bool IsControl(std::string_view character) {
  const auto lead = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return lead < ' ' || lead == 0x7F;
  return lead == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

// Appends the text, with "?" instead of each control character and each byte outside a character.
inline void AppendSafe(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const auto other = std::find_if_not(text.begin(), text.end(), IsAsciiPrintable);
    const auto plain = static_cast<std::size_t>(other - text.begin());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const std::size_t size = CharacterSize(text);
    if (size == 0 || IsControl(text.substr(0, size))) {
      out += '?';
    } else {
      out += text.substr(0, size);
    }
    text.remove_prefix(std::max<std::size_t>(size, 1));
  }
}

// Whether AppendSafe would leave the text as it is.
inline bool IsSafe(std::string_view text) {
  std::string safe;
  AppendSafe(safe, text);
  return safe == text;
}

}  // namespace Utf8
