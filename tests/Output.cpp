// SPDX-License-Identifier: MIT
#include "tests/Output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "base/Response.cpp"  // NOLINT(bugprone-suspicious-include): its state is made anew

std::vector<std::string> gSystemLog;

namespace {

[[gnu::format(printf, 2, 0)]] void Log(int priority, const char* format, va_list arguments) {
  char line[4096];
  // The callers begin the list.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  std::vsnprintf(line, sizeof line, format, arguments);
  gSystemLog.push_back((priority == LOG_ERR ? "" : std::to_string(priority) + " ") + line);
}

}  // namespace

// These replace those of the C library: the second is what a hardened program calls.
extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Log(priority, format, arguments);
  va_end(arguments);
}

extern "C" void CheckedSyslog(int priority, int flag, const char* format,
                              ...) __asm__("__syslog_chk");
extern "C" __attribute__((used, format(printf, 3, 4))) void CheckedSyslog(int priority,
                                                                          int /*flag*/,
                                                                          const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Log(priority, format, arguments);
  va_end(arguments);
}

bool RunOnto(int output, const std::function<void()>& run) {
  gStage = Response::Stage::kNothing;
  gIsWhole = true;
  std::fflush(stdout);
  const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  output >= 0 ? dup2(output, STDOUT_FILENO) : close(STDOUT_FILENO);
  run();
  std::fflush(stdout);
  const bool open = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  std::clearerr(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  return open;
}

std::string OutputOf(const std::function<void()>& run) {
  const int file = memfd_create("output", MFD_CLOEXEC);
  RunOnto(file, run);
  std::string content(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  const ssize_t size = pread(file, content.data(), content.size(), 0);
  close(file);
  return content.substr(0, size > 0 ? static_cast<std::size_t>(size) : 0);
}
