// SPDX-License-Identifier: MIT
//
// Decimal numbers. Templates and requests convert any text to a number; protocols, files and
// settings allow one spelling of each number only.
#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <type_traits>

// As atoi: skips leading white space, takes an optional sign and digits up to the first other byte;
// 0 when there are no digits. A number beyond the range of int becomes the nearest int, so that a
// template gives the same page on a 64-bit workstation and on the 32-bit device.
int WGLToInt(const char* text);

// Removes a number from the front of `text`: digits without leading zeros, up to the first other
// byte. Returns false and leaves both unchanged when there is no number or it does not fit.
template <typename Number>
bool TakeDecimal(std::string_view& text, Number& number) {
  static_assert(std::is_unsigned_v<Number>, "no sign is accepted");
  const char* const begin = text.data();
  Number value = 0;
  const auto [end, error] = std::from_chars(begin, begin + text.size(), value);
  if (error != std::errc() || (*begin == '0' && end != begin + 1)) return false;
  number = value;
  text.remove_prefix(static_cast<std::size_t>(end - begin));
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
