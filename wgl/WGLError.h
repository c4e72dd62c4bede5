// SPDX-License-Identifier: MIT
//
// Reports all template errors, for the scanner, the parser, the include stack and queries.
#pragma once

// Writes "WGL error", the line and file being read when there is one, and the message to standard
// output, as part of the response. Does not end the process; what follows is the caller's choice.
void yywglerror(const char* message);
