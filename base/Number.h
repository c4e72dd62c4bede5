// SPDX-License-Identifier: MIT
//
// Decimal numbers. Templates and requests convert any text to a number; protocols, files and
// settings allow one spelling of each number only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>

#include "base/Characters.h"

// As atoi: skips leading white space, takes an optional sign and digits up to the first other byte;
// 0 when there are no digits. A number beyond the range of int becomes the nearest int, so that a
// template gives the same page on a 64-bit workstation and on the 32-bit device.
int WGLToInt(const char* text);

// Removes a number from the front of `text`: digits without leading zeros, up to the first other
// byte. Returns false and leaves both unchanged when there is no number or it does not fit.
template <typename Number>
bool TakeDecimal(std::string_view& text, Number& number) {
  static_assert(std::is_unsigned_v<Number>, "no sign is accepted");
  constexpr Number kHighest = std::numeric_limits<Number>::max();
  constexpr std::size_t kSafeDigits = std::numeric_limits<Number>::digits10;
  Number value = 0;
  std::size_t size = 0;
  for (; size < text.size() && IsAsciiDigit(text[size]); ++size) {
    const auto digit = static_cast<Number>(text[size] - '0');
    // Fewer digits always fit.
    if (size >= kSafeDigits &&
        (value > kHighest / 10 || (value == kHighest / 10 && digit > kHighest % 10))) {
      return false;
    }
    value = static_cast<Number>(value * 10 + digit);
  }
  if (size == 0 || (size > 1 && text[0] == '0')) return false;
  number = value;
  text.remove_prefix(size);
  return true;
}

// The same, when the whole text must be the number.
template <typename Number>
bool ParseDecimal(std::string_view text, Number& number) {
  Number value = 0;
  if (!TakeDecimal(text, value) || !text.empty()) return false;
  number = value;
  return true;
}

// Reads a whole number: an optional "-", and digits without leading zeros; "-0" is not accepted.
// Returns false, with `number` unchanged, when there is no such number or it does not fit.
bool ParseInteger(std::string_view text, std::int64_t& number);
