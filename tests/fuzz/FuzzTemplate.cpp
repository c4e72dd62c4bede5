// SPDX-License-Identifier: MIT
//
// Fuzz target: scanner, include stack and parser on templates. The bytes 0xFF split the input into
// /main.wgl, /a.wgl, /sub/b.wgl, the request's variables (urlencoded) and a read plan; the
// templates are expanded. Each byte of the plan is the size of a read, 0 an interrupted read, 255 a
// failing one; at its end it starts again. Without a plan, all reads have the requested size.
//
// The program evaluates one template and may end the process. Here any number is evaluated: exit()
// returns to the target, both standard streams are captured as one, the files' bytes come from
// memory, and all global state is made anew.
#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <deque>
#include <new>
#include <utility>
#include <vector>

#include "WGLParser.hpp"
#include "base/Settings.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "request/RequestHandler.h"
#include "tests/Output.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscapedValues.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

const std::string gDocumentRoot = FUZZ_ROOT;
const std::string gUploadFile;
WGLVariables gVariables;
WGLEscapedValues gEscapedValues;
WGLQueryExecutor gQueryExecutor(yywglerror);
WGLIncludeStack gIncludeStack;

int yywgllex_destroy();

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[noreturn]] void __real_exit(int status);
int __real_fclose(FILE* stream);
FILE* __real_fdopen(int file, const char* mode);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
char* __real_strdup(const char* text);

// Counts all memory in use. A page that exits leaves some, which is not a leak.
std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
const char* __asan_default_options();
const char* __asan_default_options() {
  return "detect_leaks=0";
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr char kSeparator = '\xFF';

// Larger than the scanner's first buffer, but small enough for many runs in a second.
constexpr std::size_t kMaxTemplateBytes = 24576;

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

// The scanner's messages that a template and a read plan can cause.
constexpr char kStackUnderflow[] = "start-condition stack underflow\n";
constexpr char kReadError[] = "input in flex scanner failed\n";

enum class RunEnd {
  kReturned,   // the status is the body's return value
  kExited,     // the status is the argument of exit()
  kAbandoned,  // the page took too much memory
};

struct Outcome {
  RunEnd end;
  int status;
  std::string output;
};

// The state of a run. It is static, because local variables are undefined after a long jump.
struct Run {
  bool active;
  jmp_buf leave;
  RunEnd end;
  int status;
  FILE* files[kMaxOpenFiles];
  std::size_t fileCount, copiedBytes, readCount;
  unsigned queries;
  std::deque<StringTable> asked;
};
Run gRun;
std::string gMain, gA, gB, gQuery, gReadPlan;

[[noreturn]] void Leave(RunEnd end, int status) {
  gRun.active = false;
  gRun.end = end;
  gRun.status = status;
  std::longjmp(gRun.leave, 1);
}

void CallBody(int (*body)()) {
  if (setjmp(gRun.leave) != 0) return;
  gRun.active = true;
  RequestHandler(&gVariables).ParseQueryString(gQuery);
  gIncludeStack.Init("/main.wgl");
  gRun.status = body();
  gRun.active = false;
}

// Makes everything anew that the program makes once per process.
void RenewGlobals() {
  // Frees the buffers of all files but the first, if an included file was being read.
  while (gIncludeStack.EndInclude()) {
  }
  yywgllex_destroy();
  WGLWritePage(WGLEmpty());  // frees the previous page
  gVariables = WGLVariables();
  gEscapedValues.~WGLEscapedValues();
  new (&gEscapedValues) WGLEscapedValues;
  gQueryExecutor.~WGLQueryExecutor();
  new (&gQueryExecutor) WGLQueryExecutor(yywglerror);
  gIncludeStack.~WGLIncludeStack();
  new (&gIncludeStack) WGLIncludeStack;
}

std::size_t AllocatedBytes() {
  const bool known = __sanitizer_get_current_allocated_bytes != nullptr;
  return known ? __sanitizer_get_current_allocated_bytes() : 0;
}

// Opens /main.wgl and calls `body`, which is WGLParse or reads the tokens itself.
Outcome RunTemplate(const std::string& readPlan, int (*body)()) {
  static char buffer[BUFSIZ];  // not the memory of a run
  static const int buffered = setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  Check(buffered == 0, "standard output has its buffer");
  gReadPlan = readPlan;
  gRun = {};
  FILE* const diagnostics = std::exchange(stderr, stdout);
  const std::string output = OutputOf([body] {
    const std::size_t before = AllocatedBytes();
    CallBody(body);
    RenewGlobals();
    while (gRun.fileCount > 0) std::fclose(gRun.files[0]);
    Check(gRun.end != RunEnd::kReturned || AllocatedBytes() == before,
          "a page frees all memory that it took");
  });
  stderr = diagnostics;
  return {gRun.end, gRun.status, output};
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A body for RunTemplate that writes the tokens: texts as they are, because reads may divide them;
// of another one the code, and the name of a variable; then the number of the last line.
int WriteTokens() {
  for (int token = yywgllex(); token != 0; token = yywgllex()) {
    if (token != T_CHARS) std::printf("\1%d:", token);
    if (token != T_CHARS && token != T_VARNAME && token != T_VARNAME_HTMLTEXT &&
        token != T_VARNAME_HTMLESC) {
      continue;
    }
    std::printf("%s", yywgllval.text.GetCombined());
    yywgllval.text.Clear();
  }
  std::printf("\1%u", gIncludeStack.LineNum());
  return 0;
}

// The end of the scanner's buffer may come anywhere: code without an effect moves it along the
// template.
void CheckPlaces(const std::string& tokens) {
  constexpr std::size_t kStep = 17;  // templates of different sizes begin at different places
  constexpr std::size_t kBufferBytes = 256;
  const std::string main = std::exchange(gMain, "<~~>");
  const std::string around = RunTemplate("", WriteTokens).output;
  const std::string before = around.substr(0, around.rfind('\1'));
  for (std::size_t blanks = main.size() % kStep; blanks < kBufferBytes; blanks += kStep) {
    gMain = "<~" + std::string(blanks, ' ') + "~>" + main;
    Check(RunTemplate("", WriteTokens).output == before + tokens,
          "tokens do not depend on their place in the scanner's buffer");
  }
  gMain = main;
}

// The output must be the page or a message, never a part of the page.
void CheckKindOfOutput(const Outcome& outcome) {
  const std::string& output = outcome.output;
  const bool exited = outcome.end == RunEnd::kExited;
  if (exited && outcome.status == 2) {
    Check(output == kStackUnderflow || output == kReadError,
          "an internal failure is one that a template can bring about, and comes alone");
    return;
  }
  Check(outcome.status == 1 || (!exited && (outcome.status == 0 || outcome.status == 2)),
        "a template error ends the process with 1, a parse ends with 0, 1 or 2");
  if (outcome.status == 0) return;
  Check(output.rfind("WGL error (line ", 0) == 0, "a template error comes alone");
  if (exited) return;
  Check(EndsWith(output, "\n\n"), "a syntax error ends with an empty line");
  Check((outcome.status == 2) == EndsWith(output, ": memory exhausted\n\n"),
        "only a template that is nested too deeply exhausts the parser's memory");
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

// The lengths of queries say which of them can't be asked ahead.
bool SysMgr_Ask(const StringTable& query) {
  if (query.Serialize().size() % 4 == 3) return false;
  gRun.asked.push_back(query);
  return true;
}

StringTable SysMgr_TakeAnswer() {
  Check(!gRun.asked.empty(), "an answer is taken for each query");
  const StringTable query = gRun.asked.front();
  gRun.asked.pop_front();
  return SysMgr_Query(query);
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
  if (inside == "/main.wgl") return OpenInMemory(gMain);
  if (inside == "/a.wgl") return OpenInMemory(gA);
  if (inside == "/sub/b.wgl") return OpenInMemory(gB);
  return __real_open(path, flags);
}

// An old system, in which a path is looked at before it is opened.
long __wrap_syscall(long /*number*/, ...) {
  errno = ENOSYS;
  return -1;
}

int __wrap_fclose(FILE* stream) {
  for (std::size_t i = 0; i < gRun.fileCount; ++i) {
    if (gRun.files[i] == stream) gRun.files[i--] = gRun.files[--gRun.fileCount];
  }
  return __real_fclose(stream);
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

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string input(data, data + size);
  for (std::string* file : {&gMain, &gA, &gB}) {
    *file = Expand(Next(input, kSeparator), kMaxTemplateBytes);
  }
  gQuery = Next(input, kSeparator);
  const std::string readPlan = input.empty() ? "\1" : input;
  const bool readsFail = readPlan.find(kSeparator) != std::string::npos;

  for (const auto body : {WriteTokens, WGLParse}) {
    const Outcome outcome = RunTemplate("", body);
    const Outcome again = RunTemplate(readPlan, body);
    if (outcome.end == RunEnd::kAbandoned || again.end == RunEnd::kAbandoned) return 0;
    const bool isSame = again.end == outcome.end && again.status == outcome.status &&
                        again.output == outcome.output;
    Check(isSame || (readsFail && EndsWith(again.output, kReadError)),
          "neither tokens nor a page depend on how the templates' bytes arrive");
    if (body == WriteTokens) {
      CheckPlaces(outcome.output);
      continue;
    }
    CheckKindOfOutput(outcome);
    CheckKindOfOutput(again);
  }
  return 0;
}
