// SPDX-License-Identifier: MIT
//
// Netstrings: a byte string is written as its length in decimal, ":", its bytes, ",". The length
// has no leading zeros, and a reader accepts no other spelling.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/Number.h"

namespace Netstring {

// The largest number of digits of a length: those of the largest 32-bit number.
inline constexpr std::size_t kMaxLengthDigits = 10;

// The most bytes that a netstring adds to its content.
inline constexpr std::size_t kMaxOverheadBytes = kMaxLengthDigits + 2;

// Appends `bytes` as a netstring to `out`.
void Append(std::string& out, std::string_view bytes);

// The size of the netstring for so many bytes.
inline std::size_t SizeFor(std::size_t bytes) {
  std::size_t size = bytes + 3;
  for (; bytes >= 10; bytes /= 10) ++size;
  return size;
}

// Writes `bytes` as a netstring to `out`, where there must be room for it. Returns its end.
inline char* Write(char* out, std::string_view bytes) {
  out = std::to_chars(out, out + kMaxLengthDigits, static_cast<std::uint32_t>(bytes.size())).ptr;
  *out++ = ':';
  if (!bytes.empty()) std::memcpy(out, bytes.data(), bytes.size());
  out += bytes.size();
  *out++ = ',';
  return out;
}

enum class Status {
  kWhole,      // `text` begins with a netstring
  kPartial,    // more bytes may complete one; those so far are correct
  kMalformed,  // no further bytes can complete one, or it is longer than allowed
};

struct Piece {
  Status status;
  // kWhole: the netstring's bytes, inside `text`; empty otherwise.
  std::string_view bytes;
  // kWhole: the size of the netstring with its frame. kPartial: the size that `text` must reach
  // before it can be whole, always more than it has now. kMalformed: 0.
  std::size_t size;
};

// Reads the netstring that `text` begins with. A length above `maxBytes` is kMalformed as soon as
// it is certain. Allocates nothing, and the cost doesn't grow with the netstring: when bytes come
// in pieces, call it again with all bytes so far.
Piece Read(std::string_view text, std::size_t maxBytes);

// Removes the first netstring from `text`, which must hold all bytes. Returns false and leaves both
// untouched when there is none. Tables have a netstring for each cell.
inline bool Take(std::string_view& text, std::string_view& bytes) {
  std::string_view rest = text;
  std::uint32_t length = 0;
  if (!TakeDecimal(rest, length) || rest.empty() || rest[0] != ':') return false;
  if (rest.size() - 1 <= length || rest[std::size_t{length} + 1] != ',') return false;
  bytes = rest.substr(1, length);
  text = rest.substr(std::size_t{length} + 2);
  return true;
}

// Removes a decimal number, without leading zeros and at most 2^32 - 1, and the ":" after it from
// `text`. Returns false and leaves both untouched when there is none.
bool TakeNumber(std::string_view& text, unsigned& number);

}  // namespace Netstring
