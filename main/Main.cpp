// SPDX-License-Identifier: MIT
//
// One request, from start to end: read it, submit its settings, choose its page and language, write
// the response, exit.
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "base/Response.h"
#include "base/Settings.h"
#include "main/Catalogue.h"
#include "main/ConfigurationDownload.h"
#include "main/ImageResponse.h"
#include "main/ProcessLimits.h"
#include "main/SettingsSubmission.h"
#include "request/RequestHandler.h"
#include "values/WGLVariables.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"

namespace {

// Large enough that a typical page is written in one go.
constexpr std::size_t kOutputBufferBytes = 65536;

// Words that select a kind of response instead of a template.
struct Kind {
  const char* file;
  const char* contentType;
  const char* templatePath;
};
constexpr Kind kKinds[] = {
    {"fs", "text/html", "/wgl/frameset.wgl"},
    {"sysinfo", "text/xml", "/wgl/sysinfo.wgl"},
    {"getjson", "text/javascript", "/wgl/getjson.wgl"},
    {"validate", "text/plain", "/wgl/validate.wgl"},
    {"ie6", "text/html", "/wgl/ie6.wgl"},
};

[[noreturn]] void Fail(const char* message) {
  syslog(LOG_CRIT, "%s", message);
  std::exit(1);
}

void IgnoreSignal(int /*signal*/) {}

// A SIGIO neither ends the program nor interrupts a system call. Without SA_RESTART, it would cut
// off a page that is being written: stdio gives up.
void InstallSignalHandler() {
  struct sigaction action = {};
  action.sa_handler = IgnoreSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  if (sigaction(SIGIO, &action, nullptr) != 0) Fail("sigaction() failed");
}

// If output is closed, the first thing opened would get its number and the page: the connection to
// the system manager, or an upload. The response is lost then.
void OccupyStandardOutput() {
  if (fcntl(STDOUT_FILENO, F_GETFD) != -1) return;
  Response::Lose();
  int descriptor = -1;
  do {
    descriptor = open("/dev/null", O_WRONLY);
  } while (descriptor != -1 && descriptor < STDOUT_FILENO);
}

// The defaults replace the values of a request without "_file".
void ApplyPageDefaults(WGLVariables& variables) {
  if (!variables.Get("_file", "").empty()) return;
  variables.Set("_file", "/wgl/main.wgl");
  variables.Set("_style", "std");
  variables.Set("_dir", "std");
  variables.Set("_page", "home");
}

void Respond(const std::string& file) {
  if (file == "image") return RespondWithImage(gVariables);
  if (file == "syscfg") return DeliverConfiguration(gVariables);
  const char* contentType = "text/html";
  std::string templatePath = file;
  for (const Kind& kind : kKinds) {
    if (file == kind.file) {
      contentType = kind.contentType;
      templatePath = kind.templatePath;
      break;
    }
  }
  RequestHandler::WriteHeaders(contentType);
  gIncludeStack.Init(templatePath);
  WGLParse();
}

void ChooseLanguage(const RequestHandler& request) {
  const std::string language = request.DetermineLanguage(gLocaleDir, gTextDomain);
  gVariables.Set("_actlang", language);
  // Without a catalogue that gettext can read, it gets none, and leaves all texts as they are.
  if (request.Catalogue() == CatalogueState::kDamaged) return;
  const bool translates = SelectCatalogue(language, gLocaleDir, gTextDomain);
  if (translates && request.Catalogue() == CatalogueState::kDescribed) WGLExpectTranslations();
}

// Some web servers make arguments of the words of a query, which must not become options.
bool IsRunByHand() {
  return std::getenv("GATEWAY_INTERFACE") == nullptr && std::getenv("REQUEST_METHOD") == nullptr;
}

// The exit status of a request that was answered.
int Finish() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) Response::Lose();
  if (Response::IsWhole()) return 0;
  Response::WriteFailure(Response::kOutOfMemory);
  return 2;
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2 && IsRunByHand() && std::strcmp(arguments[1], "--version") == 0) {
    return std::puts(VISTEL_PROGRAM " " VISTEL_VERSION) < 0 || std::fflush(stdout) != 0 ? 2 : 0;
  }
  OccupyStandardOutput();
  LimitProcess();
  static char outputBuffer[kOutputBufferBytes];
  std::setvbuf(stdout, outputBuffer, _IOFBF, sizeof outputBuffer);
  InstallSignalHandler();

  RequestHandler request(&gVariables);
  if (!request.Parse()) Fail("RequestHandler::Parse() failed");

  SubmitSettings(gVariables);
  ApplyPageDefaults(gVariables);

  ChooseLanguage(request);

  Respond(gVariables.Get("_file", ""));
  return Finish();
}
