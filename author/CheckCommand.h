// SPDX-License-Identifier: MIT
//
// `vistel check`.
#pragma once

struct Options;

// Prints what is wrong. Returns the exit status: 0 for nothing, 1 for something. Throws Failure.
int CheckSite(const Options& options);
