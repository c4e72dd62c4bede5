// SPDX-License-Identifier: MIT
//
// Classes of characters in ASCII, whatever locale the process is in.
#pragma once

constexpr bool IsAsciiLetter(char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

constexpr bool IsAsciiAlphanumeric(char byte) {
  return IsAsciiLetter(byte) || (byte >= '0' && byte <= '9');
}
