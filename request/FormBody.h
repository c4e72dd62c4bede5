// SPDX-License-Identifier: MIT
//
// The body of a form submission on standard input.
#pragma once

#include <cstddef>
#include <string>

// Reads one word: skips white space before it and stops at white space or the end of the input.
// Returns "" when there is none. Any other byte may be part of the word. A read error counts as the
// end of the input. Reads no further when the word has more than `maxBytes`.
std::string ReadFormBody(std::size_t maxBytes);
