// SPDX-License-Identifier: MIT
//
// One pass over a page, in a process of its own: the language has one scanner per process, and ends
// the process at most errors.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <vector>

#include "author/check/Context.h"
#include "base/Descriptor.h"

class RunningPass {
 public:
  // Begins to trace the page with these choices of files, and to judge it. Throws Failure when
  // there can be no further process.
  RunningPass(const EntryPoint& entry, std::vector<std::size_t> decisions, const Context& context);

  // Waits for the result. A page that can't be traced at all has a finding. Call it once.
  PassResult Finish();

  const std::vector<std::size_t>& Decisions() const { return decisions_; }

 private:
  std::string page_;
  std::vector<std::size_t> decisions_;
  Descriptor output_;
  pid_t child_ = -1;
};
