// SPDX-License-Identifier: MIT
#include "values/WGLEscaper.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/Characters.h"
#include "platform/StringEscaper.h"

namespace {

// A character reference, of a size that a machine can copy with one instruction.
struct Entity {
  char text[WGLEscaper::kMaxGrowth];
  std::uint8_t size;
};
constexpr Entity kEntities[] = {{"", 0},      {"&lt;", 4},   {"&gt;", 4},
                                {"&amp;", 5}, {"&quot;", 6}, {"&#39;", 5}};

// The index into kEntities for each byte; 0 for a byte without a reference.
struct EntityIndex {
  std::uint8_t of[256];
};
constexpr EntityIndex MakeEntityIndex() {
  EntityIndex index = {};
  index.of[std::size_t{'<'}] = 1;
  index.of[std::size_t{'>'}] = 2;
  index.of[std::size_t{'&'}] = 3;
  index.of[std::size_t{'"'}] = 4;
  index.of[std::size_t{'\''}] = 5;
  return index;
}
constexpr EntityIndex kEntityIndex = MakeEntityIndex();

std::size_t EntityOf(char byte) {
  return kEntityIndex.of[static_cast<unsigned char>(byte)];
}

// As many bytes as the machine compares at once.
using Word = std::size_t;
constexpr Word kOnes = ~Word{0} / 0xFF;  // 1 in each byte

// Not 0 if any byte of the word is 0.
constexpr Word ZeroBytes(Word word) {
  return (word - kOnes) & ~word & kOnes << 7;
}

// Whether a byte of the word needs a reference. "&" and "'" differ in bit 0 only, "<" and ">" in
// bit 1 only.
bool HasSpecial(Word word) {
  return (ZeroBytes(word ^ kOnes * '"') | ZeroBytes((word | kOnes) ^ kOnes * '\'') |
          ZeroBytes((word | kOnes * 2) ^ kOnes * '>')) != 0;
}

// Percent-encoding.
char* PercentTo(char* out, std::string_view value) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char byte : value) {
    if (IsAsciiAlphanumeric(byte)) {
      *out++ = byte;
    } else {
      const auto code = static_cast<unsigned char>(byte);
      *out++ = '%';
      *out++ = kDigits[code / 16];
      *out++ = kDigits[code % 16];
    }
  }
  return out;
}

// What `to` makes of a value of any size.
std::string InPieces(std::string_view value, char* (*to)(char* out, std::string_view value)) {
  constexpr std::size_t kPieceBytes = 32;
  char piece[kPieceBytes * WGLEscaper::kMaxGrowth];
  std::string result;
  for (std::size_t i = 0; i < value.size(); i += kPieceBytes) {
    const char* const end = to(piece, value.substr(i, kPieceBytes));
    result.append(piece, static_cast<std::size_t>(end - piece));
  }
  return result;
}

}  // namespace

WGLEscaper::WGLEscaper(std::string_view mode)
    : mode_(mode == "htmltext"  ? Mode::kHtmlText
            : mode == "htmlesc" ? Mode::kUrl
            : mode == "json"    ? Mode::kJson
                                : Mode::kNone) {}

std::string WGLEscaper::Escape(const std::string& value) const {
  switch (mode_) {
    case Mode::kHtmlText:
      return MakeHtmlEntities(value);
    case Mode::kUrl:
      return HtmlEscape(value);
    case Mode::kJson:
      return StringEscaper("\\\"", '\\').Escape(value);
    case Mode::kNone:
      break;
  }
  return value;
}

// Tables consist of many short values: this copies whole words as long as they need no escaping.
char* WGLEscaper::EntitiesTo(char* out, std::string_view value) {
  const char* in = value.data();
  const char* const end = in + value.size();
  for (;;) {
    Word word = 0;
    for (; static_cast<std::size_t>(end - in) >= sizeof word; in += sizeof word) {
      std::memcpy(&word, in, sizeof word);
      if (HasSpecial(word)) break;
      std::memcpy(out, &word, sizeof word);
      out += sizeof word;
    }
    // Up to the special byte, or the end.
    std::size_t entity = 0;
    for (; in != end && (entity = EntityOf(*in)) == 0; ++in) *out++ = *in;
    if (in == end) return out;
    std::memcpy(out, kEntities[entity].text, sizeof kEntities[entity].text);
    out += kEntities[entity].size;
    ++in;
  }
}

char* WGLEscaper::OtherTo(char* out, std::string_view value) const {
  if (mode_ == Mode::kUrl) return PercentTo(out, value);
  if (mode_ == Mode::kNone) return std::copy(value.begin(), value.end(), out);
  const std::string escaped = Escape(std::string(value));
  return std::copy(escaped.begin(), escaped.end(), out);
}

std::string WGLEscaper::MakeHtmlEntities(const std::string& value) const {
  return InPieces(value, EntitiesTo);
}

std::string WGLEscaper::HtmlEscape(const std::string& value) const {
  return InPieces(value, PercentTo);
}
