// SPDX-License-Identifier: MIT
#include "tests/SystemLog.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

std::vector<std::string> gSystemLog;

// In the place of the C library's.
extern "C" void syslog(int priority, const char* format, ...) {
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  gSystemLog.push_back((priority == LOG_ERR ? "" : std::to_string(priority) + " ") + line);
}
