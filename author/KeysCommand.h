// SPDX-License-Identifier: MIT
//
// `vistel keys`: the model's keys as a page of documentation.
#pragma once

struct Options;

// Prints Markdown. Returns the exit status. Throws Failure.
int PrintKeys(const Options& options);
