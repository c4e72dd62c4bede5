// SPDX-License-Identifier: MIT
#include "author/check/Pass.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "author/system/Failure.h"
#include "author/trace/Tracer.h"
#include "base/FileContent.h"
#include "base/Transfer.h"
#include "wgl/WGLEvaluate.h"

namespace {

// A page that takes longer has texts that multiply.
constexpr rlim_t kMaxSeconds = 20;

// Before the bytes of a result.
struct ResultHead {
  std::size_t size = 0;
  bool isLast = false;  // the process ends with it
};

// What the process needs at its end, which the scanner or the include stack may bring.
struct Ending {
  const DeviceModel* model = nullptr;
  int output = -1;
};
Ending gEnding;

void SendResult(bool isLast) {
  gTracer->NoteEnd();
  PassResult result;
  for (const Judge judge : {JudgeSyntax, JudgeVariables, JudgeQueries, JudgeTexts, JudgePage}) {
    judge(gTracer->Seen(), *gEnding.model, result);
  }
  const std::string bytes = Pack(std::move(result));
  ResultHead head;
  head.size = bytes.size();
  head.isLast = isLast;
  std::string message(sizeof head, '\0');
  std::memcpy(message.data(), &head, sizeof head);
  if (!WriteAll(gEnding.output, message + bytes) || isLast) std::_Exit(0);
}

void SendLastResult() {
  SendResult(true);
}

// Each page has its time, whatever those before it took.
void LimitTime() {
  rusage used = {};
  getrusage(RUSAGE_SELF, &used);
  rlimit limit = {};
  getrlimit(RLIMIT_CPU, &limit);
  const auto seconds = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
  limit.rlim_cur = std::min(limit.rlim_max, seconds + kMaxSeconds);
  setrlimit(RLIMIT_CPU, &limit);
}

bool ReadWhole(int descriptor, void* bytes, std::size_t size) {
  return ReadUpTo(descriptor, static_cast<char*>(bytes), size) == static_cast<ssize_t>(size);
}

// Traces one page after the other, until there are no more orders.
[[noreturn]] void RunChild(const std::vector<EntryPoint>& entries, const DeviceModel& model,
                           int socket) {
  // The scanner and the include stack write messages of their own, which the tracer knows already.
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  gEnding = {&model, socket};
  // A page that ends the process must leave its tracer as it is.
  static std::optional<Tracer> tracer;
  PathMemory paths;
  bool isFirst = true;
  std::size_t head[2];
  while (ReadWhole(socket, head, sizeof head)) {
    std::vector<std::size_t> decisions(head[1]);
    if (!ReadWhole(socket, decisions.data(), decisions.size() * sizeof head[0])) break;
    LimitTime();
    tracer.emplace(entries[head[0]], std::move(decisions), model, paths);
    gTracer = &*tracer;
    if (isFirst) std::atexit(SendLastResult);
    isFirst = false;
    if (tracer->Begin()) WGLParse();
    SendResult(false);
    ForgetPage();
  }
  std::_Exit(0);
}

Finding Untraceable(const std::string& page, int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == FileContent::kCutStatus) {
    return {page, 1, 1, "syntax",
            "this file, or one that it includes, was cut while it was read; check it again"};
  }
  const std::string why = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                              : "status " + std::to_string(WEXITSTATUS(status));
  return {page, 1, 1, "syntax",
          "this page takes too much time or memory to be checked (" + why + ")"};
}

int WaitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

PassProcesses::PassProcesses(const std::vector<EntryPoint>& entries, const DeviceModel& model)
    : entries_(entries),
      model_(model),
      processes_(std::max(2U, std::thread::hardware_concurrency())) {}

// A process also holds the sockets of those that were started before it, so all of them are closed
// first.
PassProcesses::~PassProcesses() {
  for (Process& process : processes_) process.socket = Descriptor();
  for (const Process& process : processes_) {
    if (process.child > 0) WaitFor(process.child);
  }
}

bool PassProcesses::IsIdle() const {
  return std::none_of(processes_.begin(), processes_.end(),
                      [](const Process& process) { return process.order.has_value(); });
}

bool PassProcesses::IsFull() const {
  return std::all_of(processes_.begin(), processes_.end(),
                     [](const Process& process) { return process.order.has_value(); });
}

void PassProcesses::Start(Process& process) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw Failure("can't make a socket");
  }
  Descriptor ours(ends[0]);
  const Descriptor theirs(ends[1]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw Failure("can't start a process");
  if (child == 0) {
    ours = Descriptor();
    RunChild(entries_, model_, theirs.Number());
  }
  process.child = child;
  process.socket = std::move(ours);
}

void PassProcesses::Begin(PassOrder order) {
  const auto free = std::find_if(processes_.begin(), processes_.end(),
                                 [](const Process& each) { return !each.order.has_value(); });
  if (free->child < 0) Start(*free);
  std::vector<std::size_t> message = {order.page, order.decisions.size()};
  message.insert(message.end(), order.decisions.begin(), order.decisions.end());
  free->order = std::move(order);
  // If the process is gone, Receive notices. A process that waits for an order takes it whole.
  send(free->socket.Number(), message.data(), message.size() * sizeof message[0], MSG_NOSIGNAL);
}

std::optional<FinishedPass> PassProcesses::Receive(Process& process) {
  char block[65536];
  const ssize_t count = ReadSome(process.socket.Number(), block, sizeof block);
  ResultHead head;
  if (count > 0) {
    process.received.append(block, static_cast<std::size_t>(count));
    if (process.received.size() < sizeof head) return std::nullopt;
    std::memcpy(&head, process.received.data(), sizeof head);
    if (process.received.size() < sizeof head + head.size) return std::nullopt;
  }
  FinishedPass finished;
  finished.order = *std::exchange(process.order, std::nullopt);
  const std::string received = std::exchange(process.received, std::string());
  const bool isWhole =
      count > 0 && Unpack(std::string_view(received).substr(sizeof head), finished.result);
  if (isWhole && !head.isLast) return finished;
  process.socket = Descriptor();
  const int status = WaitFor(std::exchange(process.child, -1));
  if (isWhole) return finished;
  finished.result = PassResult();
  finished.result.always.push_back(Untraceable(entries_[finished.order.page].page, status));
  return finished;
}

std::vector<FinishedPass> PassProcesses::Finish() {
  std::vector<pollfd> waiting;
  std::vector<Process*> working;
  for (Process& process : processes_) {
    if (!process.order.has_value()) continue;
    waiting.push_back({process.socket.Number(), POLLIN, 0});
    working.push_back(&process);
  }
  std::vector<FinishedPass> finished;
  if (poll(waiting.data(), waiting.size(), -1) < 0) return finished;
  for (std::size_t i = 0; i < waiting.size(); ++i) {
    if (waiting[i].revents == 0) continue;
    std::optional<FinishedPass> result = Receive(*working[i]);
    if (result.has_value()) finished.push_back(std::move(*result));
  }
  return finished;
}
