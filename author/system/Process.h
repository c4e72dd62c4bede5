// SPDX-License-Identifier: MIT
//
// Runs other programs.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/Descriptor.h"

struct ProcessResult {
  int status;          // the exit status; above 128 after a signal, 127 when it could not start
  std::string output;  // of standard output
};

class Process {
 public:
  // Starts a program, which is looked up in the PATH, with the standard error of this one and an
  // empty standard input. `environment`, whose members are NAME=value, replaces that of this
  // process unless it is empty. Throws Failure when there can be no further process.
  explicit Process(const std::vector<std::string>& command,
                   const std::vector<std::string>& environment = {});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Reads what it writes and waits for its end. Until then it may wait for room in a pipe.
  ProcessResult Finish();

 private:
  Descriptor output_;
  pid_t child_ = -1;  // -1 also when the program could not start
};

// Both at once.
ProcessResult RunProcess(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment = {});

// The path of a program that is installed beside this one.
std::string ProgramBeside(const std::string& name);
