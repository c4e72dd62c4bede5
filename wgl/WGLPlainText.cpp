// SPDX-License-Identifier: MIT
#include "wgl/WGLPlainText.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// The bytes at which more than the byte itself has to be looked at.
constexpr bool IsSpecial(char byte) {
  return byte == '$' || byte == '`' || byte == '~' || byte == '\0';
}

#ifdef __SSE2__

constexpr std::size_t kBlockBytes = sizeof(__m128i);
constexpr std::size_t kStrideBytes = 4 * kBlockBytes;

__m128i Load(const char* text) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
}

// All bits set in each byte that equals `byte`.
__m128i Equal(__m128i block, char byte) {
  return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte));
}

// All bits set in each byte that is special, NUL apart.
__m128i Marks(__m128i block) {
  return _mm_or_si128(_mm_or_si128(Equal(block, '$'), Equal(block, '`')), Equal(block, '~'));
}

// One bit for each byte.
unsigned Bits(__m128i mask) {
  return static_cast<unsigned>(_mm_movemask_epi8(mask));
}

// Goes on in strides as long as they are plain text: four blocks for one test.
void TakeStrides(const char* text, std::size_t size, WGLPlainText& plain) {
  const __m128i zero = _mm_setzero_si128();
  __m128i lines = zero;  // two sums
  while (size - plain.size >= kStrideBytes) {
    const __m128i a = Load(text + plain.size);
    const __m128i b = Load(text + plain.size + kBlockBytes);
    const __m128i c = Load(text + plain.size + 2 * kBlockBytes);
    const __m128i d = Load(text + plain.size + 3 * kBlockBytes);
    const __m128i marks =
        _mm_or_si128(_mm_or_si128(Marks(a), Marks(b)), _mm_or_si128(Marks(c), Marks(d)));
    const __m128i least = _mm_min_epu8(_mm_min_epu8(a, b), _mm_min_epu8(c, d));
    if (Bits(_mm_or_si128(marks, Equal(least, '\0'))) != 0) break;
    const __m128i newlines = _mm_add_epi8(_mm_add_epi8(Equal(a, '\n'), Equal(b, '\n')),
                                          _mm_add_epi8(Equal(c, '\n'), Equal(d, '\n')));
    lines = _mm_add_epi32(lines, _mm_sad_epu8(_mm_sub_epi8(zero, newlines), zero));
    plain.size += kStrideBytes;
  }
  lines = _mm_add_epi32(lines, _mm_srli_si128(lines, sizeof(std::uint64_t)));
  plain.lines += static_cast<std::uint32_t>(_mm_cvtsi128_si32(lines));
}

// Goes on to the first special byte, as far as whole blocks go. Most runs end within the first few
// blocks; strides pay off behind them.
constexpr std::size_t kBlocksBeforeStrides = 3;
void TakeBlocks(const char* text, std::size_t size, WGLPlainText& plain) {
  std::size_t blocks = 0;
  while (size - plain.size >= kBlockBytes) {
    const __m128i block = Load(text + plain.size);
    const unsigned specials = Bits(_mm_or_si128(Marks(block), Equal(block, '\0')));
    unsigned newlines = Bits(Equal(block, '\n'));
    if (specials != 0) newlines &= (specials - 1) & ~specials;  // those in front of the first
    for (; newlines != 0; newlines &= newlines - 1) ++plain.lines;
    if (specials != 0) {
      plain.size += static_cast<std::size_t>(__builtin_ctz(specials));
      return;
    }
    plain.size += kBlockBytes;
    if (++blocks == kBlocksBeforeStrides) TakeStrides(text, size, plain);
  }
}

#else

void TakeBlocks(const char* /*text*/, std::size_t /*size*/, WGLPlainText& /*plain*/) {}

#endif

// Goes on to the first special byte.
void TakeOrdinaryBytes(const char* text, std::size_t size, WGLPlainText& plain) {
  TakeBlocks(text, size, plain);
  for (; plain.size < size && !IsSpecial(text[plain.size]); ++plain.size) {
    if (text[plain.size] == '\n') ++plain.lines;
  }
}

}  // namespace

WGLPlainText WGLFindPlainText(const char* text, std::size_t size) {
  WGLPlainText plain = {0, 0};
  std::size_t pairEnd = 0;  // the end of the last "$" with its byte
  const auto followsLess = [&] { return plain.size > pairEnd && text[plain.size - 1] == '<'; };
  for (;;) {
    TakeOrdinaryBytes(text, size, plain);
    const std::size_t left = size - plain.size;
    if (left == 0 || (text[plain.size] == '~' && followsLess())) break;
    const char special = text[plain.size];
    if (left == 1 || special == '`' || special == '\0') return plain;
    const char next = text[plain.size + 1];
    if (special == '$') {
      if (next == '{' || next == '\0') return plain;
      plain.size += 2;
      pairEnd = plain.size;
    } else {
      if (next == '>') return plain;
      ++plain.size;
    }
  }
  // "<~" begins here, or may begin at the end of the text.
  if (followsLess()) --plain.size;
  return plain;
}
