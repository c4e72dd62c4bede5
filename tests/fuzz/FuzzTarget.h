// SPDX-License-Identifier: MIT
//
// Shared by all fuzz targets. A target never returns after a fault: a broken invariant aborts,
// which both the fuzzer and the replay program report as a finding.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Runs one input. It is called many times in one process, so it must leave no state.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void Check(bool holds, const char* invariant) {
  if (holds) return;
  dprintf(STDERR_FILENO, "broken invariant: %s\n", invariant);  // `stderr` may be redirected
  std::abort();
}

// Removes the text before the next `end`, and that `end`, from the input; without one, the whole
// input.
inline std::string Next(std::string& input, char end) {
  std::string part = input.substr(0, input.find(end));
  input.erase(0, part.size() + 1);
  return part;
}

// Expands repetitions: 0xFE, a byte and a count mean that byte 32 times the count, so that a few
// bytes reach the sizes at which buffers are refilled and limits are met.
inline std::string Expand(const std::string& text, std::size_t maxBytes) {
  constexpr std::size_t kRepeatUnit = 32;
  std::string result;
  for (std::size_t i = 0; i < text.size() && result.size() < maxBytes; ++i) {
    if (text[i] == '\xFE' && i + 2 < text.size()) {
      result.append(kRepeatUnit * static_cast<unsigned char>(text[i + 2]), text[i + 1]);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result.substr(0, maxBytes);
}

// A descriptor of a new file in memory with that content, at its beginning.
inline int OpenInMemory(const std::string& content) {
  const int file = memfd_create("fuzz", MFD_CLOEXEC);
  Check(pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()),
        "a file can be written");
  return file;
}
