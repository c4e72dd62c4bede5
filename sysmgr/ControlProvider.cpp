// SPDX-License-Identifier: MIT
//
// A command runs beside the loop that answers the service, because it may take any time.
#include "sysmgr/ControlProvider.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "base/Descriptor.h"
#include "platform/StringTable.h"
#include "provider/Provider.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

// Of what a command prints.
constexpr std::size_t kMaxOutputBytes = 65536;

// How often a command that runs is looked at.
constexpr int kStepMilliseconds = 50;
constexpr int kExitNotFound = 127;

// A command that runs.
class Child {
 public:
  // Feeds it `input`, and collects what it prints where `collects` says so.
  bool Start(const std::vector<std::string>& command, std::string_view input, bool collects);

  // Takes what it has printed. True while it runs.
  bool IsRunning();

  const std::string& Output() const { return output_; }

 private:
  pid_t process_ = -1;
  Descriptor printed_;
  std::string output_;
};

// A file without a name keeps the input, so that a command that does not read it holds up nobody.
Descriptor InputFile(std::string_view input) {
  Descriptor file(open("/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (!file.IsOpen() || write(file.Number(), input.data(), input.size()) < 0 ||
      lseek(file.Number(), 0, SEEK_SET) != 0) {
    return Descriptor();
  }
  return file;
}

bool Child::Start(const std::vector<std::string>& command, std::string_view input, bool collects) {
  const Descriptor in = InputFile(input);
  int ends[2];
  if (!in.IsOpen() || pipe2(ends, O_CLOEXEC) != 0) return false;
  printed_ = Descriptor(ends[0]);
  const Descriptor out(ends[1]);
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) {
    dup2(in.Number(), STDIN_FILENO);
    if (collects) dup2(out.Number(), STDOUT_FILENO);
    execvp(words[0], words.data());
    _exit(kExitNotFound);
  }
  output_.clear();
  return process_ > 0 && fcntl(printed_.Number(), F_SETFL, O_NONBLOCK) == 0;
}

bool Child::IsRunning() {
  char buffer[4096];
  ssize_t count = 0;
  while ((count = read(printed_.Number(), buffer, sizeof buffer)) > 0) {
    const std::size_t room = kMaxOutputBytes - output_.size();
    output_.append(buffer, std::min(room, static_cast<std::size_t>(count)));
  }
  if (count == 0 || waitpid(process_, nullptr, WNOHANG) == 0) return count != 0;
  return false;
}

std::string ProblemOf(const Provider& provider) {
  return provider.Problem().empty() ? "the service is gone" : provider.Problem();
}

std::string Name(const char* command) {
  return std::string(command) + "-" + std::to_string(getpid());
}

}  // namespace

std::string Provide(const std::string& socketPath, const std::string& source, int everySeconds,
                    const std::vector<std::string>& command) {
  Provider provider(Name("provide"));
  provider.OfferPushedValue(source);
  if (!provider.Connect(socketPath)) return ProblemOf(provider);
  Child child;
  bool isRunning = false;
  SteadyClock::time_point next = SteadyClock::now();
  for (;;) {
    if (!provider.Step(kStepMilliseconds)) return ProblemOf(provider);
    if (isRunning && !child.IsRunning()) {
      isRunning = false;
      std::string value = child.Output();
      if (!value.empty() && value.back() == '\n') value.pop_back();
      if (!provider.Push(source, value)) return ProblemOf(provider);
    }
    if (!isRunning && SteadyClock::now() >= next) {
      if (!child.Start(command, "", true)) return std::strerror(errno);
      isRunning = true;
      next = SteadyClock::now() + std::chrono::seconds(everySeconds);
    }
  }
}

std::string WatchSettings(const std::string& socketPath, const std::string& prefix,
                          const std::vector<std::string>& command) {
  Provider provider(Name("watch"));
  Child child;
  bool isRunning = false;
  bool failed = false;
  provider.Subscribe(prefix);
  provider.OnSettings([&](const Provider::Pairs& settings) {
    std::string lines;
    for (const auto& [key, value] : settings)
      lines.append(key).append("=").append(value).append("\n");
    isRunning = child.Start(command, lines, false);
    failed = !isRunning;
    return false;
  });
  if (!provider.Connect(socketPath)) return ProblemOf(provider);
  for (;;) {
    if (!provider.Step(isRunning ? kStepMilliseconds : -1)) return ProblemOf(provider);
    if (failed) return std::strerror(errno);
    if (!isRunning || child.IsRunning()) continue;
    isRunning = false;
    if (!provider.SendApplied()) return ProblemOf(provider);
  }
}
