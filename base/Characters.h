// SPDX-License-Identifier: MIT
//
// Classes of ASCII characters, independent of the process's locale.
#pragma once

#include <algorithm>
#include <string_view>

constexpr bool IsAsciiDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

constexpr bool IsAsciiCapital(char byte) {
  return byte >= 'A' && byte <= 'Z';
}

constexpr bool IsAsciiLetter(char byte) {
  return IsAsciiCapital(byte) || (byte >= 'a' && byte <= 'z');
}

constexpr bool IsAsciiAlphanumeric(char byte) {
  return IsAsciiLetter(byte) || IsAsciiDigit(byte);
}

// A blank or a visible character.
constexpr bool IsAsciiPrintable(char byte) {
  return byte >= ' ' && byte <= '~';
}

// White space of key texts and of XML.
constexpr bool IsBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// White space of C, which includes the form feed and the vertical tab.
constexpr bool IsWhiteSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

constexpr char AsciiLowerCase(char byte) {
  return IsAsciiCapital(byte) ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// The value of a hexadecimal digit in either case, -1 for another byte.
constexpr int HexValue(char byte) {
  if (IsAsciiDigit(byte)) return byte - '0';
  const char lower = AsciiLowerCase(byte);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Whether the texts are equal if the case of letters is ignored.
inline bool EqualIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return AsciiLowerCase(a) == AsciiLowerCase(b); });
}
