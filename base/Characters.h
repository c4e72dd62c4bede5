// SPDX-License-Identifier: MIT
//
// Classes of ASCII characters, independent of the process's locale.
#pragma once

constexpr bool IsAsciiLetter(char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

constexpr bool IsAsciiAlphanumeric(char byte) {
  return IsAsciiLetter(byte) || (byte >= '0' && byte <= '9');
}
