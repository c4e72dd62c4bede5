// SPDX-License-Identifier: MIT
//
// Evaluates any number of templates in this process, although the program evaluates only one and
// may end the process: exit() returns here, both standard streams are captured as one, the files'
// bytes come from memory, and all global state is made anew.
#pragma once

#include <string>

struct TemplateFiles {
  std::string main;   // /main.wgl
  std::string a;      // /a.wgl
  std::string b;      // /sub/b.wgl
  std::string query;  // the request's variables, urlencoded
};

enum class RunEnd {
  kReturned,   // the status is the body's return value
  kExited,     // the status is the argument of exit()
  kAbandoned,  // the page took too much memory
};

struct RunOutcome {
  RunEnd end;
  int status;
  std::string output;
};

// Opens /main.wgl and calls `body`, which is WGLParse or reads the tokens itself. `readPlan` says
// how the bytes of the files arrive: each of its bytes is the size of a read, 0 an interrupted
// read, 255 a failing one. At its end it starts again, a limited number of times. Without a plan,
// all reads have the requested size. Aborts when a run that exit() didn't end leaks memory (as far
// as a sanitizer's allocator can tell), and when a file outside the document root is opened.
RunOutcome RunTemplate(const TemplateFiles& files, const std::string& readPlan, int (*body)());
