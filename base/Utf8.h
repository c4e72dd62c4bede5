// SPDX-License-Identifier: MIT
//
// Cuts texts into characters. Malformed UTF-8 has no characters, and U+FFFE and U+FFFF don't count
// as characters, because XML can't hold them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

// The size of the part at the beginning of the text that has neither control characters nor bytes
// outside of characters.
inline std::size_t SafeSize(std::string_view text) {
  using Word = std::uint64_t;
  constexpr Word kOnes = ~Word{0} / 0xFF;  // 1 in each byte
  std::size_t size = 0;
  while (size < text.size()) {
    Word word = 0;
    if (text.size() >= sizeof word) {
      // Most words hold bytes from 0x20 to 0x7E only: nothing here sets the highest bit of a byte.
      // The last word begins before the bytes that are left.
      const std::size_t begin = std::min(size, text.size() - sizeof word);
      std::memcpy(&word, text.data() + begin, sizeof word);
      if (((word | (word + kOnes) | (word - kOnes * ' ')) & kOnes << 7) == 0) {
        size = begin + sizeof word;
        continue;
      }
    }
    const std::size_t end = std::min(text.size(), size + sizeof word);
    while (size < end && IsAsciiPrintable(text[size])) ++size;
    if (size == end) continue;
    const std::string_view rest = text.substr(size);
    const std::size_t next = CharacterSize(rest);
    if (next == 0 || IsControl(rest.substr(0, next))) break;
    size += next;
  }
  return size;
}

// Whether AppendSafe would leave the text as it is.
inline bool IsSafe(std::string_view text) {
  return SafeSize(text) == text.size();
}

// Appends the text, with "?" instead of each control character and each byte outside a character.
inline void AppendSafe(std::string& out, std::string_view text) {
  for (;;) {
    const std::size_t safe = SafeSize(text);
    out += text.substr(0, safe);
    text.remove_prefix(safe);
    if (text.empty()) return;
    out += '?';
    text.remove_prefix(std::max<std::size_t>(CharacterSize(text), 1));
  }
}

}  // namespace Utf8
