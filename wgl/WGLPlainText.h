// SPDX-License-Identifier: MIT
//
// Finds where plain text ends in a template. Nearly all of a template is plain text, so this is
// what reading a page costs; everything that has a meaning is left to the scanner's rules.
#pragma once

#include <cstddef>
#include <cstdint>

struct WGLPlainText {
  std::size_t size;     // bytes of plain text at the start; 0 when there are none
  std::uint32_t lines;  // newlines among them
};

// The plain text at the start of `text[0, size)`: it ends before the first "$", backquote, "~" or
// NUL byte, and before a "<" that may begin "<~", because "~" or nothing follows it.
WGLPlainText WGLFindPlainText(const char* text, std::size_t size);
