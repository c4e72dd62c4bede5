// SPDX-License-Identifier: MIT
//
// `vistel check`.
#pragma once

struct Options;

// Prints what is wrong. Returns the exit status: 0 for nothing, 1 for something. Throws Failure.
int CheckSite(const Options& options);

// The same again whenever a file of the site is saved, until the process is ended.
[[noreturn]] int WatchSite(const Options& options);
