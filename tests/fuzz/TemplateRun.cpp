// SPDX-License-Identifier: MIT
#include "tests/fuzz/TemplateRun.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "query/WGLQueryExecutor.h"
#include "request/RequestHandler.h"
#include "tests/fuzz/FuzzSysMgr.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/RunMemory.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"

int yywgllex_destroy();

// The linker puts the functions with __wrap_ in the place of those without it.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[noreturn]] void __real_exit(int status);
FILE* __real_fdopen(int file, const char* mode);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
char* __real_strdup(const char* text);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// A template that includes itself ends here, and not at the limit of this process.
constexpr std::size_t kMaxOpenFiles = 24;

// Every variable that is read is copied. Twenty lines that double a variable would ask for more
// than any machine has, which is no fault of the program.
constexpr std::size_t kMaxCopiedBytes = std::size_t{2} << 20;

// With each read the scanner starts the token anew that it has begun, which takes its time when a
// token of many bytes comes in many pieces. After so many reads the plan no longer counts.
constexpr std::size_t kMaxPlannedReads = 256;

constexpr unsigned char kInterruptedRead = 0;
constexpr unsigned char kFailingRead = 255;

struct OpenFile {
  int file;
  FILE* stream;
  const std::string* content;  // null: a folder, or what else the file system has
  std::size_t position;
};

// The state of the run. It is static, as a long jump leaves the values of local variables open.
struct Run {
  bool active;
  jmp_buf leave;
  RunOutcome outcome;
  OpenFile files[kMaxOpenFiles];
  std::size_t fileCount;
  std::size_t copiedBytes;
  std::size_t readCount;
};
Run gRun;
TemplateFiles gFiles;
std::string gReadPlan;

[[noreturn]] void Leave(RunEnd end, int status) {
  gRun.outcome.end = end;
  gRun.outcome.status = status;
  gRun.active = false;
  std::longjmp(gRun.leave, 1);
}

// Stands for one of the standard streams while it lives, and catches what is written to it.
class Caught {
 public:
  explicit Caught(FILE*& stream) : stream_(stream), original_(stream) {
    stream_ = open_memstream(&text_, &size_);
    Check(stream_ != nullptr, "a stream can be made");
  }

  void End(std::string& text) {
    Check(std::fclose(stream_) == 0, "what was written is caught");
    stream_ = original_;
    text.assign(text_, size_);
    std::free(text_);
  }

 private:
  FILE*& stream_;
  FILE* const original_;
  char* text_ = nullptr;
  std::size_t size_ = 0;
};

const std::string* ContentOf(const std::string& path) {
  if (path == gDocumentRoot + "/main.wgl") return &gFiles.main;
  if (path == gDocumentRoot + "/a.wgl") return &gFiles.a;
  if (path == gDocumentRoot + "/sub/b.wgl") return &gFiles.b;
  return nullptr;
}

// The number of bytes that the read plan grants; -1 with errno set when the read is to fail.
ssize_t PlannedSize(std::size_t asked) {
  if (gReadPlan.empty() || gRun.readCount == kMaxPlannedReads) return static_cast<ssize_t>(asked);
  const auto planned = static_cast<unsigned char>(gReadPlan[gRun.readCount % gReadPlan.size()]);
  ++gRun.readCount;
  if (planned == kInterruptedRead) {
    errno = EINTR;
    return -1;
  }
  if (planned == kFailingRead) {
    errno = EIO;
    return -1;
  }
  return static_cast<ssize_t>(std::min<std::size_t>(asked, planned));
}

// Everything that the program makes once per process.
void DestroyGlobals() {
  // Frees the buffers of all files but the first, if an included file was being read.
  while (gIncludeStack.EndInclude()) {
  }
  yywgllex_destroy();
  WGLWritePage(WGLEmpty());  // it keeps the page before
  gIncludeStack.~WGLIncludeStack();
  gQueryExecutor.~WGLQueryExecutor();
  gVariables.~WGLVariables();
}

void MakeGlobals() {
  new (&gIncludeStack) WGLIncludeStack;
  new (&gVariables) WGLVariables;
  new (&gQueryExecutor) WGLQueryExecutor(yywglerror);
  RestartSysMgr();
}

void CallBody(int (*body)()) {
  if (setjmp(gRun.leave) != 0) return;
  RunMemory::Start();
  RequestHandler(&gVariables).ParseQueryString(gFiles.query);
  gIncludeStack.Init("/main.wgl");
  const int status = body();
  gRun.outcome.end = RunEnd::kReturned;
  gRun.outcome.status = status;
}

void CloseFiles() {
  for (std::size_t i = 0; i < gRun.fileCount; ++i) std::fclose(gRun.files[i].stream);
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void __wrap_exit(int status) {
  if (gRun.active) Leave(RunEnd::kExited, status);
  __real_exit(status);
}

int __wrap_open(const char* path, int flags, ...) {
  if (!gRun.active) return __real_open(path, flags, 0600);
  const std::string name = path;
  Check(name.compare(0, gDocumentRoot.size() + 1, gDocumentRoot + "/") == 0 &&
            name.find("/../") == std::string::npos && name.find("link") == std::string::npos,
        "only files below the document root are opened");
  if (gRun.fileCount == kMaxOpenFiles) {
    errno = EMFILE;
    return -1;
  }
  const int file = __real_open(path, flags);
  if (file >= 0) gRun.files[gRun.fileCount++] = {file, nullptr, ContentOf(name), 0};
  return file;
}

FILE* __wrap_fdopen(int file, const char* mode) {
  FILE* stream = __real_fdopen(file, mode);
  if (gRun.active) gRun.files[gRun.fileCount - 1].stream = stream;
  return stream;
}

ssize_t __wrap_read(int file, void* buffer, size_t size) {
  if (!gRun.active) return __real_read(file, buffer, size);
  OpenFile* const end = gRun.files + gRun.fileCount;
  OpenFile* const open = std::find_if(
      gRun.files, end, [file](const OpenFile& candidate) { return candidate.file == file; });
  if (open == end || open->content == nullptr) return __real_read(file, buffer, size);
  const ssize_t planned = PlannedSize(size);
  if (planned < 0) return planned;
  const std::size_t count =
      std::min(static_cast<std::size_t>(planned), open->content->size() - open->position);
  std::memcpy(buffer, open->content->data() + open->position, count);
  open->position += count;
  return static_cast<ssize_t>(count);
}

char* __wrap_strdup(const char* text) {
  if (gRun.active) {
    gRun.copiedBytes += std::strlen(text);
    if (gRun.copiedBytes > kMaxCopiedBytes) Leave(RunEnd::kAbandoned, 0);
  }
  return __real_strdup(text);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

RunOutcome RunTemplate(const TemplateFiles& files, const std::string& readPlan, int (*body)()) {
  gFiles = files;
  gReadPlan = readPlan;
  gRun = {};
  Caught output(stdout);
  Caught diagnostics(stderr);
  gRun.active = true;
  CallBody(body);
  gRun.active = false;
  DestroyGlobals();
  CloseFiles();
  RunMemory::Stop();
  output.End(gRun.outcome.output);
  diagnostics.End(gRun.outcome.diagnostics);

  const bool returned = gRun.outcome.end == RunEnd::kReturned;
  Check(!returned || RunMemory::Rest() == 0, "a page frees all memory that it took");
  RunMemory::FreeTheRest();
  MakeGlobals();
  return gRun.outcome;
}
