// SPDX-License-Identifier: MIT
//
// A configuration as XML (docs/configuration.md). The rule to know: reading continues after a
// mistake if possible, so that all mistakes of a file are reported at once; values are checked
// elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sysmgr/device/Storage.h"
#include "sysmgr/log/ProblemList.h"

namespace ConfigurationText {

// The format that Write writes, and the newest one that Read reads.
inline constexpr std::int64_t kFormat = 1;

// The largest text, written or read. The text of a device like this one has 1 KiB, a few with the
// longest values; the rest is for larger models. All clients wait during reading, so it must take
// only an instant for any content.
inline constexpr std::size_t kMaxBytes = std::size_t{256} << 10;

// More settings than any model has, and as many as one request may set.
inline constexpr std::size_t kMaxSettings = 4096;

// The most mistakes in one file. A file with more is not a configuration.
inline constexpr std::size_t kMaxProblems = 1000;

// The deepest nesting of elements; a configuration has two levels.
inline constexpr unsigned kMaxDepth = 32;

struct Identity {
  std::string device;
  std::int64_t version = 0;  // of the model
};

// The text may be longer than kMaxBytes. Values are UTF-8, because the model accepts nothing else.
std::string Write(const Identity& identity, const Storage::Batch& settings);

struct Parsed {
  Outcome outcome;  // a failure of the file as a whole; then nothing else is set
  Identity identity;
  Storage::Batch settings;  // in the file's order
  ProblemList mistakes;     // each about a line; if there are any, don't use the settings
};

// Never throws because of the text's content.
Parsed Read(std::string_view text);

}  // namespace ConfigurationText
