// SPDX-License-Identifier: MIT
//
// `vistel check` for one template, without processes. It has a scanner, a parser and an include
// stack of its own beside those of the pages' program: of all that it is linked from, only these
// names are left.
#pragma once

extern "C" {

// Traces /main.wgl of the document root. Calls exit() where the language ends the process.
void TraceMain();

// Call it after TraceMain, however that ended. Returns how many errors were found, or a negative
// number if a page's errors depend on what the request brings.
int CountErrors();
}
