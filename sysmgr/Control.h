// SPDX-License-Identifier: MIT
#pragma once

// sysmgrctl's own main(): does one command and gives the exit status.
int ControlMain(int count, char** arguments);
