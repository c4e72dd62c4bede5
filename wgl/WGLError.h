// SPDX-License-Identifier: MIT
//
// The one reporter of template errors, for scanner, parser, include stack and queries.
#pragma once

// Writes "WGL error", the line and file being read when there is one, and the message to standard
// output, as part of the response. Does not end the process; what follows is the caller's choice.
void yywglerror(const char* message);
