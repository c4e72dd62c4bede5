// SPDX-License-Identifier: MIT
#include "tests/fuzz/CheckOneTemplate.h"

#include <memory>
#include <string>

#include "author/check/Judges.h"
#include "author/report/Rules.h"
#include "author/trace/Tracer.h"
#include "base/Settings.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"

const std::string gDocumentRoot = FUZZ_ROOT;
WGLIncludeStack gIncludeStack;

namespace {

const DeviceModel gModel;
PathMemory gPaths;
std::unique_ptr<Tracer> gOwner;

}  // namespace

void TraceMain() {
  gPaths.clear();
  gOwner = std::make_unique<Tracer>(EntryPoint{"main.wgl", "/main.wgl", EntryPoint::Kind::kHtml},
                                    std::vector<std::size_t>(), gModel, gPaths);
  gTracer = gOwner.get();
  if (gTracer->Begin()) WGLParse();
}

int CountErrors() {
  gTracer->NoteEnd();
  PassResult result;
  for (const Judge judge : {JudgeSyntax, JudgeVariables, JudgeQueries, JudgeTexts, JudgePage}) {
    judge(gTracer->Seen(), gModel, result);
  }
  ForgetPage();
  int errors = 0;
  for (const Findings* findings : {&result.always, &result.asPage}) {
    for (const Finding& finding : *findings) {
      if (finding.rule == "computed-include") return -1;
      const Rule* rule = FindRule(finding.rule);
      if (rule != nullptr && rule->isError) ++errors;
    }
  }
  return result.branches.empty() ? errors : -1;
}
