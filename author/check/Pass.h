// SPDX-License-Identifier: MIT
//
// One pass over a page, in a process of its own: the language has one scanner per process, and ends
// the process at most errors.
#pragma once

#include <cstddef>
#include <vector>

#include "author/check/Context.h"

// Traces the page with these choices of files and judges it. A page that can't be traced at all has
// a finding. Throws Failure when there can be no further process.
PassResult RunPass(const EntryPoint& entry, const std::vector<std::size_t>& decisions,
                   const Context& context);
