// SPDX-License-Identifier: MIT
#include "wgl/WGLPlainText.h"

namespace {

bool IsSpecial(char byte) {
  return byte == '$' || byte == '`' || byte == '~';
}

}  // namespace

WGLPlainText WGLFindPlainText(const char* text, std::size_t size) {
  // Whole blocks without a branch in them, which the compiler turns into vector instructions. At
  // most 255 bytes, so that a byte can count the newlines.
  constexpr std::size_t kBlockBytes = 64;
  std::size_t end = 0;
  std::uint32_t lines = 0;
  while (size - end >= kBlockBytes) {
    unsigned char specials = 0;
    unsigned char newlines = 0;
    for (std::size_t i = 0; i < kBlockBytes; ++i) {
      const char byte = text[end + i];
      specials |= static_cast<unsigned char>(IsSpecial(byte));
      newlines = static_cast<unsigned char>(newlines + (byte == '\n'));
    }
    if (specials != 0) break;
    lines += newlines;
    end += kBlockBytes;
  }
  while (end < size && !IsSpecial(text[end])) {
    lines += text[end] == '\n';
    ++end;
  }
  const bool tildeFollows = end == size || text[end] == '~';
  if (tildeFollows && end > 0 && text[end - 1] == '<') --end;
  return {end, lines};
}
