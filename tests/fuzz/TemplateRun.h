// SPDX-License-Identifier: MIT
//
// Evaluates templates in this process, as often as wanted, though the program does it once and may
// end the process on the way: exit() comes back here, both standard streams are caught as one, the
// files' bytes come from memory, and all global state is made anew.
#pragma once

#include <string>

struct TemplateFiles {
  std::string main;   // /main.wgl
  std::string a;      // /a.wgl
  std::string b;      // /sub/b.wgl
  std::string query;  // the request's variables, urlencoded
};

enum class RunEnd {
  kReturned,   // status: what the body returned
  kExited,     // status: what was handed to exit()
  kAbandoned,  // the page took too much memory
};

struct RunOutcome {
  RunEnd end;
  int status;
  std::string output;
};

// Opens /main.wgl and calls `body`, which is WGLParse or pulls the tokens itself. `readPlan` says
// how the bytes of the files arrive: each byte is the size of a read, 0 an interrupted one, 255 a
// failing one; it starts over at its end, but not for ever. Without a plan all reads are as large
// as asked for. Aborts when a run that was not ended by exit() leaves memory behind (as far as a
// sanitizer's allocator tells), and when a file outside the document root is opened.
RunOutcome RunTemplate(const TemplateFiles& files, const std::string& readPlan, int (*body)());
