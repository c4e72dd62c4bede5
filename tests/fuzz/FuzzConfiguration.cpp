// SPDX-License-Identifier: MIT
//
// Fuzz target: a configuration that somebody uploads is read. The input is its text.
#include <string_view>

#include "sysmgr/configuration/ConfigurationText.h"
#include "tests/fuzz/FuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ConfigurationText;
  const Parsed parsed = Read({reinterpret_cast<const char*>(data), size});
  Check(parsed.mistakes.Told().size() <= ProblemList::kMaxTold, "few mistakes are kept");
  Check(parsed.mistakes.Count() <= kMaxProblems, "reading ends at many mistakes");
  if (!parsed.outcome.IsSuccess() || parsed.mistakes.Count() > 0) return 0;
  Check(size <= kMaxBytes && parsed.settings.size() <= kMaxSettings, "limits are kept");
  const Parsed again = Read(Write(parsed.identity, parsed.settings));
  Check(again.outcome.IsSuccess() && again.mistakes.Count() == 0 &&
            again.settings == parsed.settings && again.identity.device == parsed.identity.device &&
            again.identity.version == parsed.identity.version,
        "what is written again reads the same");
  return 0;
}
