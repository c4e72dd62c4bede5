// SPDX-License-Identifier: MIT
//
// A configuration as XML (docs/configuration.md). The rule to know: reading keeps going where it
// can, so that everything that is wrong with a file is told at once; values are judged elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/Storage.h"

namespace ConfigurationText {

// The format that is written, and the newest one that is read.
inline constexpr std::int64_t kFormat = 1;

// Largest text, written or read: every setting at its longest still fits, and reading it does not
// hold anybody up.
inline constexpr std::size_t kMaxBytes = std::size_t{4} << 20;

// More settings than any model has; as many as one request may set.
inline constexpr std::size_t kMaxSettings = 4096;

// Elements inside each other; a configuration has two.
inline constexpr unsigned kMaxDepth = 32;

struct Identity {
  std::string device;
  std::int64_t version = 0;  // of the model
};

// Whether XML can hold the text as it is. U+FFFE, U+FFFF and control characters are not for it.
bool CanHold(std::string_view text);

// The text may be longer than kMaxBytes. Values are UTF-8, as the model lets them through.
std::string Write(const Identity& identity, const Storage::Batch& settings);

struct Parsed {
  Identity identity;
  Storage::Batch settings;            // in the file's order
  std::vector<std::string> problems;  // words for a page; with any of them, not to be used
};

// Never throws for what is in the text.
Parsed Read(std::string_view text);

}  // namespace ConfigurationText
