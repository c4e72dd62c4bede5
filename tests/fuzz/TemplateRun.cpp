// SPDX-License-Identifier: MIT
#include "tests/fuzz/TemplateRun.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "base/Settings.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "request/RequestHandler.h"
#include "tests/Output.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"

const std::string gDocumentRoot = FUZZ_ROOT;
const std::string gUploadFile;
WGLVariables gVariables;
WGLQueryExecutor gQueryExecutor(yywglerror);
WGLIncludeStack gIncludeStack;

int yywgllex_destroy();

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[noreturn]] void __real_exit(int status);
FILE* __real_fdopen(int file, const char* mode);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
char* __real_strdup(const char* text);

using MallocHook = void (*)(const volatile void* block, std::size_t size);
using FreeHook = void (*)(const volatile void* block);
int __sanitizer_install_malloc_and_free_hooks(MallocHook, FreeHook) __attribute__((weak));

// One function frees what an unfinished run has left, whichever function allocated it.
const char* __asan_default_options();
const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0";
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// A template that includes itself ends at this number, and not at the limit of this process.
constexpr std::size_t kMaxOpenFiles = 24;

// Reading a variable copies it. Twenty lines that double a variable would need more memory than any
// machine has, which is not a fault of the program.
constexpr std::size_t kMaxCopiedBytes = std::size_t{2} << 20;

// At each read, the scanner begins its unfinished token anew, which takes long when a large token
// comes in many pieces. After so many reads, the plan is ignored.
constexpr std::size_t kMaxPlannedReads = 256;
constexpr unsigned char kInterruptedRead = 0;
constexpr unsigned char kFailingRead = 255;

// More nested tables would make a page that no machine can hold.
constexpr unsigned kMaxRepeatingQueries = 4;

// The state of the run. It is static, because local variables are undefined after a long jump.
struct Run {
  bool active;
  jmp_buf leave;
  RunEnd end;
  int status;
  FILE* files[kMaxOpenFiles];
  std::size_t fileCount, copiedBytes, readCount;
  unsigned queries;
};
Run gRun;
TemplateFiles gFiles;
std::string gReadPlan;

// The blocks that the run has allocated and not freed. It is never destroyed, because blocks are
// freed until the very end of the process. Blocks that it needs itself are not counted.
auto& gBlocks = *new std::unordered_set<const volatile void*>;
bool gCounting = false;

void Count(const volatile void* block, std::size_t /*size*/) {
  if (!std::exchange(gCounting, false)) return;
  gBlocks.insert(block);
  gCounting = true;
}

void Forget(const volatile void* block) {
  if (!std::exchange(gCounting, false)) return;
  gBlocks.erase(block);
  gCounting = true;
}

[[noreturn]] void Leave(RunEnd end, int status) {
  gRun.active = false;
  gRun.end = end;
  gRun.status = status;
  std::longjmp(gRun.leave, 1);
}

void CallBody(int (*body)()) {
  if (setjmp(gRun.leave) != 0) return;
  gRun.active = true;
  RequestHandler(&gVariables).ParseQueryString(gFiles.query);
  gIncludeStack.Init("/main.wgl");
  const int status = body();
  gRun.active = false;
  gRun.end = RunEnd::kReturned;
  gRun.status = status;
}

// Destroys everything that the program makes once per process.
void DestroyGlobals() {
  // Frees the buffers of all files but the first, if an included file was being read.
  while (gIncludeStack.EndInclude()) {
  }
  yywgllex_destroy();
  WGLWritePage(WGLEmpty());  // frees the previous page
  gIncludeStack.~WGLIncludeStack();
  gQueryExecutor.~WGLQueryExecutor();
  gVariables.~WGLVariables();
}

void MakeGlobals() {
  new (&gVariables) WGLVariables;
  new (&gQueryExecutor) WGLQueryExecutor(yywglerror);
  new (&gIncludeStack) WGLIncludeStack;
}

// Uses no memory of a run.
bool BufferStandardOutput() {
  static char buffer[BUFSIZ];
  return setvbuf(stdout, buffer, _IOFBF, sizeof buffer) == 0;
}

}  // namespace

// Replaces the system manager: the tables, with hostile cells among them, depend only on the keys,
// so that a template always gives the same page.
StringTable SysMgr_Query(const StringTable& query) {
  constexpr const char* kCells[] = {"<b>\"'&", "\\${01}${ROW}", "plain text of some length", "0",
                                    ""};
  if (query.Rows() == 0) return StringTable();
  const std::string key = query.Get(0, 0);
  const std::size_t rows = key.size() % (++gRun.queries <= kMaxRepeatingQueries ? 4 : 2);
  StringTable table(std::min(query.Rows(), 3U));
  for (std::size_t row = 0; row < rows; ++row) {
    std::vector<std::string_view> cells;
    for (unsigned column = 0; column < table.Columns(); ++column) {
      const std::size_t kind = (key.size() + row + column) % (std::size(kCells) + 1);
      cells.push_back(kind == std::size(kCells) ? query.View(column, 0) : kCells[kind]);
    }
    table.AddCells(cells);
  }
  // Goes through the form of a real answer.
  return StringTable(table.Serialize(), StringTable::kSerialized);
}

// The linker uses these functions instead of those without "__wrap_".
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
  const std::string inside = name.substr(gDocumentRoot.size());
  if (inside == "/main.wgl") return OpenInMemory(gFiles.main);
  if (inside == "/a.wgl") return OpenInMemory(gFiles.a);
  if (inside == "/sub/b.wgl") return OpenInMemory(gFiles.b);
  return __real_open(path, flags);
}

FILE* __wrap_fdopen(int file, const char* mode) {
  FILE* stream = __real_fdopen(file, mode);
  if (gRun.active) gRun.files[gRun.fileCount++] = stream;
  return stream;
}

ssize_t __wrap_read(int file, void* buffer, size_t size) {
  if (!gRun.active || gReadPlan.empty() || gRun.readCount == kMaxPlannedReads) {
    return __real_read(file, buffer, size);
  }
  const auto planned = static_cast<unsigned char>(gReadPlan[gRun.readCount++ % gReadPlan.size()]);
  if (planned != kInterruptedRead && planned != kFailingRead) {
    return __real_read(file, buffer, std::min<std::size_t>(size, planned));
  }
  errno = planned == kInterruptedRead ? EINTR : EIO;
  return -1;
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
  static const bool buffered = BufferStandardOutput();
  static const bool watched = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                              __sanitizer_install_malloc_and_free_hooks(Count, Forget) != 0;
  Check(buffered, "standard output has its buffer");
  gFiles = files;
  gReadPlan = readPlan;
  gRun = {};
  FILE* const diagnostics = std::exchange(stderr, stdout);
  const std::string output = OutputOf([body] {
    gCounting = watched;
    CallBody(body);
    DestroyGlobals();
    for (std::size_t i = 0; i < gRun.fileCount; ++i) std::fclose(gRun.files[i]);
    gCounting = false;
  });
  stderr = diagnostics;
  Check(gRun.end != RunEnd::kReturned || gBlocks.empty(), "a page frees all memory that it took");
  for (const volatile void* block : gBlocks) std::free(const_cast<void*>(block));
  gBlocks.clear();
  MakeGlobals();
  return {gRun.end, gRun.status, output};
}
