// SPDX-License-Identifier: MIT
#include "tests/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/StandardOutput.h"

namespace {

// Far more than any test needs, on a busy machine as well. The alarm outlives exec.
constexpr unsigned kTimeLimitSeconds = 60;
constexpr useconds_t kPauseMicroseconds = 5'000;
constexpr int kMaxPauses = 2000;

// Gives up after a while: the program need not read.
void WaitUntilRead(int pipe) {
  for (int round = 0, waiting = 1; round < kMaxPauses && waiting > 0; ++round) {
    usleep(kPauseMicroseconds);
    if (ioctl(pipe, FIONREAD, &waiting) != 0) return;
  }
}

[[noreturn]] void StartInChild(const std::string& program, const ProgramInput& input, int body,
                               int output, int errors) {
  std::vector<char*> environment;
  for (const std::string& variable : input.environment) {
    environment.push_back(const_cast<char*>(variable.c_str()));
  }
  environment.push_back(nullptr);
  char* const arguments[] = {const_cast<char*>(program.c_str()), nullptr};
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  input.stdinClosed ? close(STDIN_FILENO) : dup2(body, STDIN_FILENO);
  const rlimit files = {input.openFiles, input.openFiles};
  if (input.openFiles != 0) setrlimit(RLIMIT_NOFILE, &files);
  const rlimit bytes = {input.fileBytes, input.fileBytes};
  if (input.fileBytes != 0) setrlimit(RLIMIT_FSIZE, &bytes);
  signal(SIGPIPE, SIG_DFL);
  alarm(kTimeLimitSeconds);
  execve(program.c_str(), arguments, environment.data());
  _exit(127);
}

}  // namespace

std::string gProgram;

std::string Headers(const std::string& contentType) {
  return "Content-Type: " + contentType +
         "\r\nPragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n";
}

ProgramResult RunProgram(const std::string& program, const ProgramInput& input) {
  const int output = memfd_create("output", MFD_CLOEXEC);
  const int errors = memfd_create("errors", MFD_CLOEXEC);
  int body[2];
  if (output < 0 || errors < 0 || pipe2(body, O_CLOEXEC) != 0) return {"", "", "no descriptors"};
  const pid_t child = fork();
  if (child == 0) StartInChild(program, input, body[0], output, errors);
  close(body[0]);
  signal(SIGPIPE, SIG_IGN);  // a program may leave the body unread
  for (std::size_t i = 0; i < input.body.size(); ++i) {
    if (i > 0) {
      WaitUntilRead(body[1]);
      if (input.signalBetweenPieces) kill(child, SIGIO);
    }
    const std::string& piece = input.body[i];
    for (std::size_t at = 0; at < piece.size();) {
      const ssize_t size = write(body[1], piece.data() + at, piece.size() - at);
      if (size <= 0) break;
      at += static_cast<std::size_t>(size);
    }
  }
  close(body[1]);
  int status = 0;
  waitpid(child, &status, 0);
  return {TakeContent(output), TakeContent(errors),
          WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                            : "signal " + std::to_string(WTERMSIG(status))};
}
