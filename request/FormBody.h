// SPDX-License-Identifier: MIT
//
// The body of a form submission, as it stands on standard input.
#pragma once

#include <string>

// Reads one word: white space before it is skipped, and white space or the end of the input ends
// it. "" when there is none. Any byte may be part of it; input that can't be read counts as ended.
std::string ReadFormBody();
