// SPDX-License-Identifier: MIT
#pragma once

// The language's scanner under another name: the build compiles it anew with this one, so that this
// tool's yywgllex can stand between scanner and parser.
int ScanToken();

// Of the generated scanner: makes it as it was when the process began.
int yywgllex_destroy();
