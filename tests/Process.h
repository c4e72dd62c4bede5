// SPDX-License-Identifier: MIT
//
// Runs a finished program as a web server would: with exactly the given environment, a body on
// standard input, and everything that it writes collected.
#pragma once

#include <string>
#include <vector>

struct ProgramInput {
  std::vector<std::string> environment;  // "NAME=value"
  std::vector<std::string> body;         // pieces; the program gets to read each before the next
  bool stdinClosed = false;              // no descriptor 0 at all
  bool signalBetweenPieces = false;      // a SIGIO while it waits for the next piece
  unsigned openFiles = 0;                // limit on open files; 0 for the usual one
  unsigned fileBytes = 0;                // limit on the size of a file; 0 for the usual one
};

struct ProgramResult {
  std::string output;
  std::string errors;
  std::string ending;  // "exit 0", "signal 11"; "signal 14" when it took too long
};

ProgramResult RunProgram(const std::string& program, const ProgramInput& input);

// The header block of a response.
std::string Headers(const std::string& contentType);

// The program under test, from the command line.
extern std::string gProgram;
