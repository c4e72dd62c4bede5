// SPDX-License-Identifier: MIT
//
// Reports template errors as vistel-render links it: to standard error, with the line's text, and
// with status 1 at the end. wgl/WGLError.h has the contract.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "wgl/WGLError.h"
#include "wgl/WGLIncludeStack.h"

namespace {

// The text of a file's line (from 1) without its newline.
std::string LineOf(const std::string& path, unsigned number) {
  std::ifstream file(path);
  std::string line;
  while (number-- > 0 && std::getline(file, line)) {
  }
  return line;
}

void EndWithFailure() {
  std::fflush(stdout);
  std::_Exit(1);
}

}  // namespace

void yywglerror(const char* message) {
  // What the language writes after the message, such as a file's name, belongs to it.
  std::fflush(stdout);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::atexit(EndWithFailure);
  const unsigned line = gIncludeStack.LineNum();
  std::string place;
  if (line != 0) {
    place = " (line " + std::to_string(line) + " in file '" + gIncludeStack.FileName() + "')";
  }
  std::printf("WGL error%s: %s\n", place.c_str(), message);
  if (line != 0) std::printf("%5u | %s\n", line, LineOf(gIncludeStack.FileName(), line).c_str());
}
