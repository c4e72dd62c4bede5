// SPDX-License-Identifier: MIT
#include "wgl/WGLPlainText.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr bool IsSpecial(char byte) {
  return byte == '$' || byte == '`' || byte == '~';
}

#ifdef __SSE2__
// 16 bytes at a time, as far as whole blocks go; the caller's loop over single bytes finishes.
WGLPlainText FindInBlocks(const char* text, std::size_t size) {
  constexpr std::size_t kBlockBytes = sizeof(__m128i);
  WGLPlainText plain = {0, 0};
  while (size - plain.size >= kBlockBytes) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + plain.size));
    const auto equal = [&block](char byte) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte)); };
    const auto specials = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_or_si128(_mm_or_si128(equal('$'), equal('`')), _mm_or_si128(equal('~'), equal('\0')))));
    // Newlines in front of the first special byte only. They are rare, so that counting them one
    // by one costs least.
    unsigned newlines = static_cast<unsigned>(_mm_movemask_epi8(equal('\n')));
    newlines &= (specials - 1) & ~specials;
    for (; newlines != 0; newlines &= newlines - 1) ++plain.lines;
    if (specials != 0) {
      plain.size += static_cast<std::size_t>(__builtin_ctz(specials));
      break;
    }
    plain.size += kBlockBytes;
  }
  return plain;
}
#else
WGLPlainText FindInBlocks(const char* /*text*/, std::size_t /*size*/) {
  return {0, 0};
}
#endif

}  // namespace

WGLPlainText WGLFindPlainText(const char* text, std::size_t size) {
  if (size > 0 && IsSpecial(text[0])) return {0, 0};
  WGLPlainText plain = FindInBlocks(text, size);
  for (; plain.size < size && !IsSpecial(text[plain.size]); ++plain.size) {
    if (text[plain.size] == '\n') ++plain.lines;
  }
  const bool tildeMayFollow = plain.size == size || text[plain.size] == '~';
  if (tildeMayFollow && plain.size > 0 && text[plain.size - 1] == '<') --plain.size;
  return plain;
}
