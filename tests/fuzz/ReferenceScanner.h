// SPDX-License-Identifier: MIT
//
// A second scanner, written as simply as possible: one byte at a time, from memory, without tables,
// buffers or short cuts. The real scanner must find the same tokens.
#pragma once

#include <string>

// A list of tokens as a text. A text token is written unchanged, without NUL bytes; any other token
// as the byte 1, its code, the name of a variable, and a ";". The list ends with the byte 1 and the
// line number. After an unmatched character, or a pop of the empty stack of modes, it ends instead
// with the text that the program writes before it exits.
struct ReferenceTokens {
  std::string text;
  int exitStatus;  // 0 if the scanner reached the end
};

ReferenceTokens ScanByReference(const std::string& input, const std::string& fileName);

// The two kinds of entries, for the list of the real scanner.
std::string TokenEntry(int token, const std::string& name);
std::string LineEntry(unsigned line);
