// SPDX-License-Identifier: MIT
//
// Finds where plain text ends in a template. Nearly all of a template is plain text, so this is
// what reading a page costs; everything that has a meaning is left to the scanner's rules.
#pragma once

#include <cstddef>
#include <cstdint>

struct WGLPlainText {
  std::size_t size;     // bytes of plain text at the start; 0 when there are none
  std::uint32_t lines;  // newlines among them that count
};

// The plain text at the start of `text[0, size)`. It holds no NUL byte. A "$" and any byte behind
// it but "{" are part of it, and this byte means nothing then: a newline doesn't count. So is a "~"
// that belongs to no "<~" or "~>". Plain text ends before a backquote, "${", "<~", "~>" and a NUL,
// and where the text ends before it is decided which of these follows.
WGLPlainText WGLFindPlainText(const char* text, std::size_t size);
