// SPDX-License-Identifier: MIT
//
// What code under test writes: to descriptor 1, and to the system log, whose syslog() is replaced
// in programs that link this.
#pragma once

#include <functional>
#include <string>
#include <vector>

// A line for each call of syslog(), with the priority's number and a space in front unless it is
// LOG_ERR. Tests clear it when they begin.
extern std::vector<std::string> gSystemLog;

// Runs with `output` as descriptor 1; none when it is negative. What stdout holds goes to where it
// belongs. True when the descriptor is still open afterwards.
bool RunOnto(int output, const std::function<void()>& run);

// Runs, and returns what came to descriptor 1.
std::string OutputOf(const std::function<void()>& run);
