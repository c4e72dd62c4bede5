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

char* WGLEscaper::EntitiesTo(char* out, std::string_view value) {
  for (;;) {
    std::size_t plain = 0;
    for (; plain < value.size() && EntityOf(value[plain]) == 0; ++plain) out[plain] = value[plain];
    out += plain;
    if (plain == value.size()) return out;
    const Entity& entity = kEntities[EntityOf(value[plain])];
    std::memcpy(out, entity.text, sizeof entity.text);
    out += entity.size;
    value.remove_prefix(plain + 1);
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
