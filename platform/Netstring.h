// SPDX-License-Identifier: MIT
//
// Netstrings: a byte string as its length in decimal, ":", its bytes, ",". The length is written
// without leading zeros, and a reader takes no other spelling.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Netstring {

// The digits that a length may have: those of the largest 32-bit number.
inline constexpr std::size_t kMaxLengthDigits = 10;

// What a netstring of any length adds to its bytes at most.
inline constexpr std::size_t kMaxOverheadBytes = kMaxLengthDigits + 2;

// Appends `bytes` as a netstring to `out`.
void Append(std::string& out, std::string_view bytes);

enum class Status {
  kWhole,      // `text` begins with a netstring
  kPartial,    // more bytes may make it one; none have been found wrong so far
  kMalformed,  // no bytes behind it can make it one, or it is longer than allowed
};

struct Piece {
  Status status;
  // kWhole: the netstring's bytes, inside `text`; empty otherwise.
  std::string_view bytes;
  // kWhole: the size of the netstring with its frame. kPartial: the size that `text` must reach
  // before it can be whole, always more than it has now. kMalformed: 0.
  std::size_t size;
};

// Looks at the netstring that `text` begins with. A length above `maxBytes` is kMalformed as soon
// as it can be told. Nothing is allocated, and the cost doesn't grow with the netstring: a reader
// whose bytes come in pieces calls it again with all bytes so far.
Piece Read(std::string_view text, std::size_t maxBytes);

// Takes the first netstring off `text`, which holds all bytes there are. False, with both
// untouched, when there is none.
bool Take(std::string_view& text, std::string_view& bytes);

// Takes a number in decimal, without leading zeros and at most 2^32 - 1, and the ":" behind it off
// `text`. False, with both untouched, when there is none.
bool TakeNumber(std::string_view& text, unsigned& number);

}  // namespace Netstring
