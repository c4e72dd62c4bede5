// SPDX-License-Identifier: MIT
//
// A configuration as XML (docs/configuration.md). The rule to know: reading keeps going where it
// can, so that everything that is wrong with a file is told at once; values are judged elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sysmgr/device/Storage.h"
#include "sysmgr/log/ProblemList.h"

namespace ConfigurationText {

// The format that is written, and the newest one that is read.
inline constexpr std::int64_t kFormat = 1;

// Largest text, written or read. That of a device like this one has 1 KiB, and with every setting
// at its longest some; the rest is for models with more. Reading holds everybody up, and so it must
// be over in an instant whatever is in the file.
inline constexpr std::size_t kMaxBytes = std::size_t{256} << 10;

// More settings than any model has; as many as one request may set.
inline constexpr std::size_t kMaxSettings = 4096;

// Things wrong with the form of one file. Whoever has made so many has not made a configuration.
inline constexpr std::size_t kMaxProblems = 1000;

// Elements inside each other; a configuration has two.
inline constexpr unsigned kMaxDepth = 32;

struct Identity {
  std::string device;
  std::int64_t version = 0;  // of the model
};

// The text may be longer than kMaxBytes. Values are UTF-8, as the model lets them through.
std::string Write(const Identity& identity, const Storage::Batch& settings);

struct Parsed {
  Outcome outcome;  // a failure of the file as a whole; nothing else is told then
  Identity identity;
  Storage::Batch settings;  // in the file's order
  ProblemList mistakes;     // each about a line; with any of them, not to be used
};

// Never throws for what is in the text.
Parsed Read(std::string_view text);

}  // namespace ConfigurationText
