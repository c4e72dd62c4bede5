// SPDX-License-Identifier: MIT
//
// What the code under test wrote to the system log: syslog() is replaced in the programs that link
// this.
#pragma once

#include <string>
#include <vector>

// A line for each call, with the priority's number and a space in front unless it is LOG_ERR. Tests
// clear it when they begin.
extern std::vector<std::string> gSystemLog;
