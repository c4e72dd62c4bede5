// SPDX-License-Identifier: MIT
//
// The scanner once more, in the plainest way: one byte at a time, from memory, without tables,
// buffers or short cuts. What it finds is what the real scanner must find.
#pragma once

#include <string>

// A list of tokens in writing: text as it stands, without NUL bytes; any other token as the byte 1,
// its code and, for a variable, its name, and a ";"; at the end the byte 1 and the line number.
// Instead of that end, an unmatched character and a pop of the empty stack of modes end the list
// with what the program writes before it exits.
struct ReferenceTokens {
  std::string text;
  int exitStatus;  // 0 when the scanner reached the end
};

ReferenceTokens ScanByReference(const std::string& input, const std::string& fileName);

// The two kinds of entries, for whoever writes the list of the real scanner.
std::string TokenEntry(int token, const std::string& name);
std::string LineEntry(unsigned line);
