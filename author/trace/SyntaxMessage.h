// SPDX-License-Identifier: MIT
//
// Says what the parser's and the scanner's messages mean to an author, and where the mistake began.
#pragma once

#include <string>
#include <string_view>

#include "author/trace/Record.h"

inline constexpr std::string_view kSyntaxError = "syntax error";

// `locator` stands behind the token that the parser refuses.
Record::Error ExplainSyntaxError(const std::string& message, const Locator& locator);

// `locator` stands before the bytes that the scanner refuses.
std::string ExplainScannerError(const std::string& message, const Locator& locator);
