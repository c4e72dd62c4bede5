// SPDX-License-Identifier: MIT
//
// vistel-simulator: a simulated adapter, for those who have no real one at hand.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "simulator/Options.h"
#include "simulator/Simulate.h"

namespace {

constexpr int kExitUsage = 2;

template <typename Clock>
std::int64_t Seconds() {
  const auto now = Clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  const std::string problem = ParseOptions(count, arguments, options);
  if (!problem.empty()) {
    std::fprintf(stderr, "vistel-simulator: %s\n", problem.c_str());
    return kExitUsage;
  }
  if (options.wantsVersion) return std::puts("vistel-simulator " VISTEL_VERSION) < 0 ? 1 : 0;
  if (options.wantsHelp) return std::fputs(HelpText().c_str(), stdout) < 0 ? 1 : 0;
  Simulate(options, Seconds<std::chrono::system_clock>, Seconds<std::chrono::steady_clock>);
}
