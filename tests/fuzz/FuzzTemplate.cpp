// SPDX-License-Identifier: MIT
//
// Fuzz target: scanner, include stack and parser on templates. The bytes 0xFF split the input into
// /main.wgl, /a.wgl, /sub/b.wgl, the request's variables (urlencoded) and a read plan; the
// templates are expanded.
#include <cstdio>
#include <string>

#include "WGLParser.hpp"
#include "base/Settings.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ReferenceScanner.h"
#include "tests/fuzz/TemplateRun.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

namespace {

constexpr char kSeparator = '\xFF';

// Larger than the scanner's first buffer, but small enough for many runs in a second.
constexpr std::size_t kMaxTemplateBytes = 24576;

// The scanner's messages that a template and a read plan can cause.
constexpr char kStackUnderflow[] = "start-condition stack underflow\n";
constexpr char kReadError[] = "input in flex scanner failed\n";

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A body for RunTemplate that writes a ReferenceTokens.
int WriteTokens() {
  for (int token = yywgllex(); token != 0; token = yywgllex()) {
    const bool hasText = token == T_CHARS || token == T_VARNAME || token == T_VARNAME_HTMLTEXT ||
                         token == T_VARNAME_HTMLESC;
    const std::string text = hasText ? yywgllval.text.GetCombined() : "";
    if (hasText) yywgllval.text.Clear();
    static_cast<void>(
        std::fputs((token == T_CHARS ? text : TokenEntry(token, text)).c_str(), stdout));
  }
  static_cast<void>(std::fputs(LineEntry(gIncludeStack.LineNum()).c_str(), stdout));
  return 0;
}

void CheckTokens(const TemplateFiles& files, const std::string& readPlan) {
  const RunOutcome outcome = RunTemplate(files, readPlan, WriteTokens);
  const ReferenceTokens expected = ScanByReference(files.main, gDocumentRoot + "/main.wgl");
  Check((outcome.end == RunEnd::kExited) == (expected.exitStatus != 0) &&
            outcome.status == expected.exitStatus,
        "the scanner stops where the rules say");
  Check(outcome.output == expected.text, "the scanner finds the tokens that the rules say");
}

// The output must be the page or a message, never a part of the page.
void CheckKindOfOutput(const RunOutcome& outcome) {
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

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string input(data, data + size);
  TemplateFiles files;
  for (std::string* file : {&files.main, &files.a, &files.b}) {
    *file = Expand(Next(input, kSeparator), kMaxTemplateBytes);
  }
  files.query = Next(input, kSeparator);
  const std::string& readPlan = input;  // a separator in it is a failing read
  const bool readsFail = readPlan.find(kSeparator) != std::string::npos;

  CheckTokens(files, "");
  if (!readsFail) CheckTokens(files, readPlan);
  const RunOutcome outcome = RunTemplate(files, "", WGLParse);
  if (outcome.end == RunEnd::kAbandoned) return 0;
  CheckKindOfOutput(outcome);

  const RunOutcome again = RunTemplate(files, readPlan, WGLParse);
  const bool isSame =
      again.end == outcome.end && again.status == outcome.status && again.output == outcome.output;
  Check(isSame || (readsFail && again.output == kReadError),
        "a page does not depend on how its templates' bytes arrive");
  return 0;
}
