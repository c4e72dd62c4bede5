// SPDX-License-Identifier: MIT
//
// Fuzz target: the pages' program and `vistel check` on the same templates. What renders without an
// error has no finding that is an error, and the other way round. The input is that of
// fuzz_template without a read plan.
#define LLVMFuzzerTestOneInput TestOneTemplate
#include "tests/fuzz/FuzzTemplate.cpp"  // NOLINT(bugprone-suspicious-include)
#undef LLVMFuzzerTestOneInput

#include "tests/fuzz/CheckOneTemplate.h"

namespace {

int ErrorsFound() {
  gReadPlan.clear();
  gRun = {};
  if (setjmp(gRun.leave) == 0) {
    gRun.active = true;
    TraceMain();
  }
  gRun.active = true;
  const int errors = CountErrors();
  gRun.active = false;
  while (gRun.fileCount > 0) std::fclose(gRun.files[0]);
  return errors;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string input(data, data + size);
  for (std::string* file : {&gMain, &gA, &gB}) {
    *file = Expand(Next(input, kSeparator), kMaxTemplateBytes);
  }
  gQuery = Next(input, kSeparator);
  const Outcome outcome = RunTemplate("", WGLParse);
  if (outcome.end == RunEnd::kAbandoned) return 0;
  int errors = 0;
  OutputOf([&errors] { errors = ErrorsFound(); });
  if (errors < 0) return 0;
  Check(outcome.status == 0 || errors > 0, "a page that ends with an error has one in the check");
  Check(outcome.status != 0 || errors == 0, "a page that renders has no error in the check");
  return 0;
}
