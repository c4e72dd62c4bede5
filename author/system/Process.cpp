// SPDX-License-Identifier: MIT
#include "author/system/Process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "author/system/Failure.h"
#include "base/Descriptor.h"
#include "base/Transfer.h"

namespace {

constexpr int kNotStarted = 127;
constexpr int kSignalled = 128;

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void Start(const std::vector<std::string>& command,
                        const std::vector<std::string>& environment, int output) {
  dup2(output, STDOUT_FILENO);
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  dup2(nothing.Number(), STDIN_FILENO);
  const std::vector<char*> arguments = Pointers(command);
  if (environment.empty()) {
    execvp(arguments[0], arguments.data());
  } else {
    execvpe(arguments[0], arguments.data(), Pointers(environment).data());
  }
  std::fprintf(stderr, "vistel: can't start '%s': %s\n", arguments[0], std::strerror(errno));
  std::_Exit(kNotStarted);
}

}  // namespace

ProcessResult RunProcess(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure("can't make a pipe");
  const Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw Failure("can't start a process");
  if (child == 0) Start(command, environment, writeEnd.Number());
  writeEnd = Descriptor();
  ProcessResult result = {0, ""};
  char block[65536];
  ssize_t count = 0;
  while ((count = ReadSome(readEnd.Number(), block, sizeof block)) > 0) {
    result.output.append(block, static_cast<std::size_t>(count));
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
  return result;
}

std::string ProgramBeside(const std::string& name) {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  if (size <= 0) return name;
  const std::string own(path, static_cast<std::size_t>(size));
  return own.substr(0, own.rfind('/') + 1) + name;
}
