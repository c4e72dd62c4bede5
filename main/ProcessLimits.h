// SPDX-License-Identifier: MIT
//
// What the process may use, whatever a template or a request asks for. docs/limits.md has all
// limits of a request.
#pragma once

// Limits memory and processor time, writes no core files and gives up rights that other programs
// could have. Stricter limits of the caller stay. A page that takes too long ends with a line of
// text and status 2; memory is refused as if the machine had none left. If the build asks for it,
// filters system calls too.
void LimitProcess();
