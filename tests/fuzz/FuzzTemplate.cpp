// SPDX-License-Identifier: MIT
//
// Fuzz target: scanner, include stack and parser on templates. The input is cut at the bytes 0xFF
// into /main.wgl, /a.wgl, /sub/b.wgl, the request's variables (urlencoded) and a read plan. In the
// templates 0xFE, a byte and a count stand for that byte 32 times the count, so that an input of a
// few bytes reaches the sizes at which buffers are refilled and grow.
#include <algorithm>
#include <string>

#include "WGLParser.hpp"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ReferenceScanner.h"
#include "tests/fuzz/TemplateRun.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

namespace {

constexpr char kSeparator = '\xFF';
constexpr char kRepeat = '\xFE';
constexpr std::size_t kRepeatUnit = 32;

// More than the scanner's first buffer holds, little enough for many runs in a second.
constexpr std::size_t kMaxTemplateBytes = 24576;

// The scanner's messages that its own rules can bring about.
constexpr char kStackUnderflow[] = "start-condition stack underflow\n";
constexpr char kReadError[] = "input in flex scanner failed\n";

std::string NextSection(const std::string& input, std::size_t& position) {
  if (position > input.size()) return "";
  const std::size_t end = std::min(input.find(kSeparator, position), input.size());
  std::string section = input.substr(position, end - position);
  position = end + 1;
  return section;
}

std::string Expand(const std::string& section) {
  std::string result;
  for (std::size_t i = 0; i < section.size(); ++i) {
    if (section[i] == kRepeat && i + 2 < section.size()) {
      const std::size_t count = static_cast<unsigned char>(section[i + 2]);
      result.append(count * kRepeatUnit, section[i + 1]);
      i += 2;
    } else {
      result += section[i];
    }
  }
  return result.substr(0, kMaxTemplateBytes);
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool Equal(const RunOutcome& left, const RunOutcome& right) {
  return left.end == right.end && left.status == right.status && left.output == right.output &&
         left.diagnostics == right.diagnostics;
}

void Write(const std::string& text) {
  static_cast<void>(std::fputs(text.c_str(), stdout));
}

// A body for RunTemplate that writes a ReferenceTokens.
int WriteTokens() {
  for (int token = yywgllex(); token != 0; token = yywgllex()) {
    const bool hasText = token == T_CHARS || token == T_VARNAME || token == T_VARNAME_HTMLTEXT ||
                         token == T_VARNAME_HTMLESC;
    const std::string text = hasText ? yywgllval.text.GetCombined() : "";
    if (hasText) yywgllval.text.Clear();
    Write(token == T_CHARS ? text : TokenEntry(token, text));
  }
  Write(LineEntry(gIncludeStack.LineNum()));
  return 0;
}

void CheckTokens(const TemplateFiles& files, const std::string& readPlan) {
  const RunOutcome outcome = RunTemplate(files, readPlan, WriteTokens);
  const ReferenceTokens expected = ScanByReference(files.main, gDocumentRoot + "/main.wgl");
  Check(outcome.end == (expected.exitStatus == 0 ? RunEnd::kReturned : RunEnd::kExited) &&
            outcome.status == expected.exitStatus,
        "the scanner stops where the rules say");
  Check(outcome.output == expected.text, "the scanner finds the tokens that the rules say");
}

// Either the page or a message is written, never a part of the page.
void CheckKindOfOutput(const RunOutcome& outcome) {
  const bool exited = outcome.end == RunEnd::kExited;
  const std::string& output = outcome.output;
  if (exited && outcome.status == 2) {
    Check(output.empty(), "an internal failure writes nothing to the page");
    Check(outcome.diagnostics == kStackUnderflow || outcome.diagnostics == kReadError,
          "an internal failure is one that a template can bring about");
    return;
  }
  Check(outcome.diagnostics.empty(), "standard error is for internal failures");
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
  const std::string input(data, data + size);
  std::size_t position = 0;
  TemplateFiles files;
  files.main = Expand(NextSection(input, position));
  files.a = Expand(NextSection(input, position));
  files.b = Expand(NextSection(input, position));
  files.query = NextSection(input, position);
  // All that is left: 0xFF is a failing read.
  const std::string readPlan = position < input.size() ? input.substr(position) : "";

  CheckTokens(files, "");
  if (readPlan.find(kSeparator) == std::string::npos) CheckTokens(files, readPlan);
  const RunOutcome outcome = RunTemplate(files, "", WGLParse);
  if (outcome.end == RunEnd::kAbandoned) return 0;
  CheckKindOfOutput(outcome);

  const RunOutcome again = RunTemplate(files, readPlan, WGLParse);
  const bool readFailed =
      readPlan.find(kSeparator) != std::string::npos && again.diagnostics == kReadError;
  Check(readFailed || Equal(outcome, again),
        "a page does not depend on how its templates' bytes arrive");
  return 0;
}
