// SPDX-License-Identifier: MIT
#pragma once

// sysmgrd's own main(): serves until a signal ends it, and gives the exit status.
int DaemonMain(int count, char** arguments);
