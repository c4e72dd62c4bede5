// SPDX-License-Identifier: MIT
#include "wgl/WGLError.h"

#include <cstdio>
#include <string>

#include "base/Response.h"
#include "wgl/WGLIncludeStack.h"

void yywglerror(const char* message) {
  Response::Reach(Response::Stage::kContent);
  std::fputs("WGL error", stdout);
  if (gIncludeStack.LineNum() != 0) {
    std::printf(" (line %u", gIncludeStack.LineNum());
    const std::string fileName = gIncludeStack.FileName();
    if (!fileName.empty()) std::printf(" in file '%s'", fileName.c_str());
    std::fputs(")", stdout);
  }
  std::printf(": %s\n\n", message);
}
