// SPDX-License-Identifier: MIT
#include "author/catalogue/PoHandler.h"

namespace {

// The library's handlers take no context of their own.
std::string gProblem;

// After a fatal problem, the library wants no return; it keeps nothing that would be left behind.
struct FatalProblem {};

void TakeProblem(int severity, po_message_t /*message*/, const char* file, std::size_t line,
                 std::size_t /*column*/, int /*multiline*/, const char* text) {
  if (severity == PO_SEVERITY_WARNING || !gProblem.empty()) return;
  gProblem = file != nullptr ? file : "";
  if (line != static_cast<std::size_t>(-1)) gProblem += ", line " + std::to_string(line);
  gProblem += std::string(": ") + text;
  if (severity == PO_SEVERITY_FATAL_ERROR) throw FatalProblem();
}

void TakeProblems(int severity, po_message_t message, const char* file, std::size_t line,
                  std::size_t column, int multiline, const char* text,
                  po_message_t /*otherMessage*/, const char* /*otherFile*/,
                  std::size_t /*otherLine*/, std::size_t /*otherColumn*/, int /*otherMultiline*/,
                  const char* /*otherText*/) {
  TakeProblem(severity, message, file, line, column, multiline, text);
}

}  // namespace

std::string PoProblem(const std::function<bool(const po_xerror_handler& handler)>& use) {
  const po_xerror_handler handler = {TakeProblem, TakeProblems};
  gProblem.clear();
  try {
    if (!use(handler) && gProblem.empty()) gProblem = "it can't be opened";
  } catch (const FatalProblem&) {
    gProblem += "; and more";
  }
  return gProblem;
}
