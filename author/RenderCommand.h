// SPDX-License-Identifier: MIT
//
// `vistel render`: runs vistel-render, which is the pages' program with other settings, as a web
// server would run it, and prints its answer.
#pragma once

struct Options;

// Returns the exit status. Throws Failure.
int RenderPage(const Options& options);
