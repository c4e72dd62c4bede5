// SPDX-License-Identifier: MIT
//
// The model and the catalogues that the command line names.
#pragma once

#include "author/check/Context.h"

struct Options;

// Throws Failure.
Context ReadContext(const Options& options);
