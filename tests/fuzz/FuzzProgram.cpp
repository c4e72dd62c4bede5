// SPDX-License-Identifier: MIT
//
// Fuzz target: whole requests to the site. The bytes 0xFF split the input into the environment (a
// NAME=value on each line), standard input, the system manager's answer to most requests in the
// bytes of the protocol, its replies to some keys, and the catalogue of the language "de", which
// may hold any byte. The first two are expanded.
#include <cerrno>
#include <csetjmp>
#include <filesystem>
#include <new>
#include <string>

#include "tests/FakeSystemManager.h"
#include "tests/Output.h"
#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"

#define main ProgramMain
#include "main/Main.cpp"  // NOLINT(bugprone-suspicious-include)
#undef main

#include "base/Response.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "values/WGLEscapedValues.h"
#include "wgl/WGLError.h"

namespace {

// Of this process only, because several may run at once.
const std::string gScratch =
    std::filesystem::temp_directory_path() / ("fuzz_program." + std::to_string(getpid()));

}  // namespace

const std::string gServiceName = "Vistel";
const std::string gDocumentRoot = FUZZ_SITE;
const std::string gUploadFile = gScratch + "/upload.bin";
const std::string gFalseWord = "0";
const std::string gTrueWord = "1";
const std::string gTextDomain = "vistel";
const std::string gLocaleDir = "/catalogues";  // see InThisRun
const std::string gAuthorisationFile = gScratch + "/rpcauth";
WGLVariables gVariables;
WGLEscapedValues gEscapedValues;
static SvcMgrFunctions gSvcMgrFunctions;
SysMgrProxy gSysMgr(gServiceName, gSvcMgrFunctions, gAuthorisationFile);
WGLQueryExecutor gQueryExecutor(yywglerror);
WGLIncludeStack gIncludeStack;

int yywgllex_destroy();

// The limits would be those of all runs together.
void LimitProcess() {}

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[noreturn]] void __real_exit(int status);
char* __real_bindtextdomain(const char* domain, const char* folder);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
int __real_unlink(const char* path);
const char* __asan_default_options();
const char* __asan_default_options() {
  return "detect_leaks=0";  // a page that exits leaves memory
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr char kSeparator = '\xFF';
constexpr std::size_t kMaxInputBytes = 65536;

// The keys that have replies of their own.
constexpr const char* kKeys[] = {"System.ProductName", "System.AutoConfigShow",
                                 "HomePlug.Stations"};

struct Run {
  bool active;
  jmp_buf leave;
  int status;
  std::string catalogues, input;
};
Run gRun;

// gettext keeps what it has read at a path, so each run has its catalogue at another one.
std::string InThisRun(const std::string& path) {
  return gRun.catalogues + path.substr(gLocaleDir.size());
}

bool IsIn(const std::string& path, const std::string& folder) {
  return path.compare(0, folder.size() + 1, folder + "/") == 0;
}

void Serve() {
  if (setjmp(gRun.leave) != 0) return;
  gRun.active = true;
  char name[] = "vistel.cgi";
  char* arguments[] = {name, nullptr};
  gRun.status = ProgramMain(1, arguments);
  gRun.active = false;
}

// Makes everything anew that the program makes once.
void RenewGlobals() {
  while (gIncludeStack.EndInclude()) {
  }
  yywgllex_destroy();
  gQueryExecutor.~WGLQueryExecutor();
  new (&gQueryExecutor) WGLQueryExecutor(yywglerror);
  gVariables = WGLVariables();
  gEscapedValues.~WGLEscapedValues();
  new (&gEscapedValues) WGLEscapedValues;
  gIncludeStack.~WGLIncludeStack();
  new (&gIncludeStack) WGLIncludeStack;
  WGLDrop(WGLTranslate(WGLEmpty()));  // expects no translations any more
}

void SetEnvironment(std::string lines) {
  clearenv();
  while (!lines.empty()) {
    std::string line = Next(lines, '\n');
    const std::string name = Next(line, '=');
    if (!name.empty()) setenv(name.c_str(), line.c_str(), 1);
  }
}

void CheckOutput(const std::string& output, const FakeSystemManager& peer) {
  Check(gRun.status >= 0 && gRun.status <= 2, "a request ends with 0, 1 or 2");
  Check(Response::IsWhole(),
        "nothing is lost while there is memory, and gettext reads every sound catalogue");
  const bool download = gVariables.Get("_file", "") == "syscfg";
  Check(!output.empty() || (download && gRun.status == 0), "only a download may be empty");
  Check(output.empty() || (output.rfind("Content-Type: ", 0) == 0 &&
                           output.find("\r\nExpires: -1\r\n\r\n") != std::string::npos),
        "a response has headers");
  std::size_t sets = 0;
  for (const auto& request : peer.requests) sets += request[0] == "set" ? 1 : 0;
  const bool refused = output.rfind("Content-Type: text/plain", 0) == 0 && gRun.status == 1;
  Check(sets <= (refused ? 0 : 1),
        "settings are sent as one batch, and not if the request is refused");
}

}  // namespace

// The linker uses these functions instead of those without "__wrap_".
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void __wrap_exit(int status) {
  if (!gRun.active) __real_exit(status);
  gRun.active = false;
  gRun.status = status;
  std::longjmp(gRun.leave, 1);
}

char* __wrap_bindtextdomain(const char* domain, const char* folder) {
  return __real_bindtextdomain(domain, InThisRun(folder).c_str());
}

int __wrap_open(const char* path, int flags, ...) {
  const std::string name = path;
  if (IsIn(name, gLocaleDir)) return __real_open(InThisRun(name).c_str(), flags);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  Check(!gRun.active || !writes || name == gUploadFile || name == "/dev/null",
        "only the upload file is written");
  return __real_open(path, flags, 0600);
}

ssize_t __wrap_read(int file, void* buffer, size_t size) {
  if (file != STDIN_FILENO || !gRun.active) return __real_read(file, buffer, size);
  const std::size_t count = gRun.input.copy(static_cast<char*>(buffer), size);
  gRun.input.erase(0, count);
  return static_cast<ssize_t>(count);
}

// The system manager's answers name files, which the program removes.
int __wrap_unlink(const char* path) {
  return IsIn(path, gScratch) ? __real_unlink(path) : 0;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static unsigned runs = 0;
  std::string rest(data, data + size);
  const std::string environment = Expand(Next(rest, kSeparator), kMaxInputBytes);
  gRun.input = Expand(Next(rest, kSeparator), kMaxInputBytes);
  FakeSystemManager peer;
  const std::string otherwise = Next(rest, kSeparator);
  if (!otherwise.empty()) peer.otherwise = otherwise;
  peer.manners.close = (size & 1) != 0;
  for (const char* key : kKeys) {
    const std::string reply = Next(rest, kSeparator);
    if (!reply.empty()) peer.replies[key] = reply;
  }
  const TestFolder folder(gScratch);
  gRun.catalogues = folder.Path(std::to_string(++runs));
  if (!rest.empty()) folder.Write(std::to_string(runs) + "/de/LC_MESSAGES/vistel.mo", rest);

  SetEnvironment(environment);
  gSystemLog.clear();
  const std::string output = OutputOf(Serve);
  CheckOutput(output, peer);
  RenewGlobals();
  return 0;
}
