// SPDX-License-Identifier: MIT
//
// The values that a text can have. Foreign texts are tried with each value that a condition
// compares them with, and with one that equals none of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "author/trace/Text.h"

// Bytes that stand for foreign text in a value. The second one stands for text that is
// percent-encoded or has a type whose values are plain.
inline constexpr char kForeignMark = '\x01';
inline constexpr char kPlainMark = '\x02';

// Whether a value holds no foreign text.
bool IsConcrete(const std::string& value);

// A text that is known to have this value, because the pass has chosen it.
using Constraint = std::pair<TextPtr, std::string>;

// Each value once, in the order in which they are found. If there are too many, the only value is
// a mark.
std::vector<std::string> AlternativesOf(const Text& text,
                                        const std::vector<Constraint>& constraints);
