// SPDX-License-Identifier: MIT
#include "author/system/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "author/system/Failure.h"
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

int WaitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

Process::Process(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure("can't make a pipe");
  output_ = Descriptor(ends[0]);
  const Descriptor writeEnd(ends[1]);
  std::fflush(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, writeEnd.Number(), STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  const std::vector<char*> arguments = Pointers(command);
  const std::vector<char*> variables = Pointers(environment);
  const int problem = posix_spawnp(&child_, arguments[0], &actions, nullptr, arguments.data(),
                                   environment.empty() ? environ : variables.data());
  posix_spawn_file_actions_destroy(&actions);
  if (problem == 0) return;
  child_ = -1;
  if (problem == EAGAIN || problem == ENOMEM) throw Failure("can't start a process");
  std::fprintf(stderr, "vistel: can't start '%s': %s\n", arguments[0], std::strerror(problem));
}

Process::~Process() {
  output_ = Descriptor();
  if (child_ > 0) WaitFor(child_);
}

ProcessResult Process::Finish() {
  if (child_ < 0) return {kNotStarted, ""};
  ProcessResult result = {0, ""};
  char block[65536];
  ssize_t count = 0;
  while ((count = ReadSome(output_.Number(), block, sizeof block)) > 0) {
    result.output.append(block, static_cast<std::size_t>(count));
  }
  const int status = WaitFor(std::exchange(child_, -1));
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
  return result;
}

ProcessResult RunProcess(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment) {
  return Process(command, environment).Finish();
}

std::string ProgramBeside(const std::string& name) {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  if (size <= 0) return name;
  const std::string own(path, static_cast<std::size_t>(size));
  return own.substr(0, own.rfind('/') + 1) + name;
}
