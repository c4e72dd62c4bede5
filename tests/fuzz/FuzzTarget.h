// SPDX-License-Identifier: MIT
//
// What every fuzz target has in common. A target never returns from a fault: a broken invariant
// aborts, which the fuzzer and the replay program both see as a finding.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Runs one input. Called again and again in one process, so it leaves no state behind.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void Check(bool holds, const char* invariant) {
  if (holds) return;
  dprintf(STDERR_FILENO, "broken invariant: %s\n", invariant);  // `stderr` may be caught
  std::abort();
}
