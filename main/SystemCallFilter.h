// SPDX-License-Identifier: MIT
//
// An optional part of the build, VISTEL_SYSCALL_FILTER: the kernel ends the process at any system
// call that no response needs.
#pragma once

// Returns false when the filter could not be installed.
bool FilterSystemCalls();
