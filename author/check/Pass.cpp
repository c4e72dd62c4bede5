// SPDX-License-Identifier: MIT
#include "author/check/Pass.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "author/system/Failure.h"
#include "author/trace/Tracer.h"
#include "base/Transfer.h"
#include "wgl/WGLEvaluate.h"

namespace {

// A page that takes longer has texts that multiply.
constexpr rlim_t kMaxSeconds = 20;

// What the process needs at its end, which the scanner or the include stack may bring.
struct Ending {
  const Context* context = nullptr;
  int output = -1;
};
Ending gEnding;

void SendResult() {
  gTracer->NoteEnd();
  PassResult result;
  for (const Judge judge : {JudgeSyntax, JudgeVariables, JudgeQueries, JudgeTexts, JudgePage}) {
    judge(gTracer->Seen(), *gEnding.context, result);
  }
  WriteAll(gEnding.output, Pack(std::move(result)));
  std::_Exit(0);
}

[[noreturn]] void RunChild(const EntryPoint& entry, const std::vector<std::size_t>& decisions,
                           const Context& context, int output) {
  const rlimit limit = {kMaxSeconds, kMaxSeconds};
  setrlimit(RLIMIT_CPU, &limit);
  // The scanner and the include stack write messages of their own, which the tracer knows already.
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  static Tracer tracer(entry, decisions, context.model);
  gTracer = &tracer;
  gEnding = {&context, output};
  std::atexit(SendResult);
  if (tracer.Begin()) WGLParse();
  SendResult();
  std::abort();
}

Finding Untraceable(const std::string& page, int status) {
  const std::string why = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                              : "status " + std::to_string(WEXITSTATUS(status));
  return {page, 1, 1, "syntax",
          "this page takes too much time or memory to be checked (" + why + ")"};
}

}  // namespace

RunningPass::RunningPass(const EntryPoint& entry, std::vector<std::size_t> decisions,
                         const Context& context)
    : page_(entry.page), decisions_(std::move(decisions)) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure("can't make a pipe");
  output_ = Descriptor(ends[0]);
  const Descriptor writeEnd(ends[1]);
  std::fflush(nullptr);
  child_ = fork();
  if (child_ < 0) throw Failure("can't start a process");
  if (child_ == 0) RunChild(entry, decisions_, context, writeEnd.Number());
}

PassResult RunningPass::Finish() {
  std::string text;
  char block[65536];
  ssize_t count = 0;
  while ((count = ReadSome(output_.Number(), block, sizeof block)) > 0) {
    text.append(block, static_cast<std::size_t>(count));
  }
  int status = 0;
  while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
  }
  PassResult result;
  if (status == 0 && Unpack(text, result)) return result;
  PassResult failed;
  failed.always.push_back(Untraceable(page_, status));
  return failed;
}
