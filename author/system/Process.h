// SPDX-License-Identifier: MIT
//
// Runs other programs and waits for them.
#pragma once

#include <string>
#include <vector>

struct ProcessResult {
  int status;          // the exit status; above 128 after a signal, 127 when it could not start
  std::string output;  // of standard output
};

// Runs a program, which is looked up in the PATH, with the standard error of this one and an empty
// standard input. `environment`, whose members are NAME=value, replaces that of this process unless
// it is empty. Throws Failure when there can be no further process.
ProcessResult RunProcess(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment = {});

// The path of a program that is installed beside this one.
std::string ProgramBeside(const std::string& name);
