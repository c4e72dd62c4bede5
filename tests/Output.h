// SPDX-License-Identifier: MIT
//
// Captures what code under test writes to descriptor 1 and to the system log: programs that link
// this have another syslog().
#pragma once

#include <functional>
#include <string>
#include <vector>

// A line for each call of syslog(), after the priority's number and a space unless it is LOG_ERR.
// Tests clear it when they begin.
extern std::vector<std::string> gSystemLog;

// Begins another response and runs with `output` as descriptor 1, or without one when it is
// negative. Flushes stdout before and after. Returns true when the descriptor is still open
// afterwards.
bool RunOnto(int output, const std::function<void()>& run);

// Runs, and returns the output to descriptor 1.
std::string OutputOf(const std::function<void()>& run);
