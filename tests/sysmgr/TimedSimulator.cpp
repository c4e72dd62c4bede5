// SPDX-License-Identifier: MIT
//
// The simulator for tests: it goes by the clock of TestClock.h.
#include <cstdio>
#include <string>

#include "simulator/Options.h"
#include "simulator/Simulate.h"
#include "tests/sysmgr/TestClock.h"

int main(int count, char** arguments) {
  Options options;
  const std::string problem = ParseOptions(count, arguments, options);
  if (!problem.empty()) return std::puts(problem.c_str()), 2;
  Simulate(
      options, [] { return ReadClock(TestClock::kTimeOfDay); },
      [] { return ReadClock(TestClock::kSteady); });
}
