// SPDX-License-Identifier: MIT
//
// `vistel strings`.
#pragma once

struct Options;

// Writes the texts to translate. Returns the exit status. Throws Failure.
int WriteStrings(const Options& options);
