// SPDX-License-Identifier: MIT
//
// The service for tests: it goes by the clock of TestClock.h, its timeouts are at most a second.
// The version of its database is in the file "version", and how often it asks for histories in
// "sample", if these are there.
#include <fstream>

#include "sysmgr/Options.h"
#include "sysmgr/Serve.h"
#include "tests/sysmgr/TestClock.h"

int main(int count, char** arguments) {
  Pace pace;
  pace.deadlineMilliseconds = 1000;
  pace.stepMilliseconds = 1;
  pace.openMilliseconds = 1;
  pace.sampleSeconds = 1;
  pace.timeOfDay = [] { return ReadClock(TestClock::kTimeOfDay); };
  pace.steady = [] { return ReadClock(TestClock::kSteady); };
  pace.patience = {1000, 300, 1000, 1000};
  std::ifstream("version") >> pace.databaseVersion;
  std::ifstream("sample") >> pace.sampleSeconds;
  Serve(ParseOptions(count, arguments), pace);
  return 0;
}
