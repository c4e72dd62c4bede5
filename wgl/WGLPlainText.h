// SPDX-License-Identifier: MIT
//
// Finds the end of plain text in a template. Nearly all of a template is plain text, so this
// determines the cost of reading one. The scanner's rules handle everything else.
#pragma once

#include <cstddef>
#include <cstdint>

struct WGLPlainText {
  std::size_t size;     // bytes of plain text at the start; 0 when there are none
  std::uint32_t lines;  // newlines among them that count
};

// The plain text at the start of `text[0, size)`. It holds no NUL byte. A "$" and the byte after
// it, unless that is "{", are part of it; that byte has no other meaning, so a newline isn't
// counted. A "~" that belongs to no "<~" or "~>" is part of it too. Plain text ends before a
// backquote, "${", "<~", "~>" and a NUL byte. It also ends before a byte at the end of the text
// that may begin one of these.
WGLPlainText WGLFindPlainText(const char* text, std::size_t size);
