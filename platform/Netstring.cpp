// SPDX-License-Identifier: MIT
#include "platform/Netstring.h"

#include <cstdint>
#include <limits>

namespace {

// The digits at the start of `text`, up to the first other byte, but at most one more than allowed.
struct Digits {
  std::uint64_t value;
  std::size_t count;
};

Digits ReadDigits(std::string_view text) {
  Digits digits = {0, 0};
  while (digits.count < text.size() && digits.count <= Netstring::kMaxLengthDigits) {
    const char byte = text[digits.count];
    if (byte < '0' || byte > '9') break;
    digits.value = digits.value * 10 + static_cast<unsigned>(byte - '0');
    ++digits.count;
  }
  return digits;
}

// Whether the digits at the start of `text`, perhaps with more digits after them, can be a number.
bool CanBeNumber(std::string_view text, const Digits& digits) {
  if (digits.count == 0) return text.empty();
  if (digits.count > 1 && text[0] == '0') return false;
  return digits.value <= std::numeric_limits<std::uint32_t>::max();
}

constexpr Netstring::Piece kMalformedPiece = {Netstring::Status::kMalformed, {}, 0};

}  // namespace

void Netstring::Append(std::string& out, std::string_view bytes) {
  char head[kMaxLengthDigits + 1];
  char* start = head + sizeof head;
  *--start = ':';
  std::size_t length = bytes.size();
  do {
    *--start = static_cast<char>('0' + length % 10);
    length /= 10;
  } while (length != 0 && start != head);
  out.append(start, static_cast<std::size_t>(head + sizeof head - start));
  out.append(bytes);
  out += ',';
}

Netstring::Piece Netstring::Read(std::string_view text, std::size_t maxBytes) {
  const Digits digits = ReadDigits(text);
  if (!CanBeNumber(text, digits) || digits.value > maxBytes) return kMalformedPiece;
  if (digits.count == text.size()) return {Status::kPartial, {}, text.size() + 1};
  if (text[digits.count] != ':') return kMalformedPiece;

  const auto length = static_cast<std::size_t>(digits.value);
  const std::size_t start = digits.count + 1;
  if (text.size() - start <= length) return {Status::kPartial, {}, start + length + 1};
  if (text[start + length] != ',') return kMalformedPiece;
  return {Status::kWhole, text.substr(start, length), start + length + 1};
}

// Faster than Read, because a table has thousands of cells.
bool Netstring::Take(std::string_view& text, std::string_view& bytes) {
  const char* position = text.data();
  const char* const end = position + text.size();
  const std::size_t most = text.size();
  std::uint64_t length = 0;
  for (;; ++position) {
    if (position == end) return false;
    const auto digit = static_cast<unsigned char>(*position - '0');
    if (digit > 9) break;
    // Only the number 0 itself begins with 0, and no length may exceed the text.
    if ((length == 0 && position != text.data()) || length > most) return false;
    length = length * 10 + digit;
  }
  if (position == text.data() || *position != ':') return false;
  ++position;
  if (length >= static_cast<std::size_t>(end - position)) return false;
  const char* const last = position + static_cast<std::size_t>(length);
  if (*last != ',') return false;
  bytes = std::string_view(position, static_cast<std::size_t>(length));
  text = std::string_view(last + 1, static_cast<std::size_t>(end - last - 1));
  return true;
}

bool Netstring::TakeNumber(std::string_view& text, unsigned& number) {
  const Digits digits = ReadDigits(text);
  if (digits.count == 0 || !CanBeNumber(text, digits)) return false;
  if (digits.count == text.size() || text[digits.count] != ':') return false;
  number = static_cast<unsigned>(digits.value);
  text.remove_prefix(digits.count + 1);
  return true;
}
