// SPDX-License-Identifier: MIT
//
// The service for tests: its timeouts are at most a second, and the file "clock" in the folder
// where it was started holds the time of day and the monotonic clock, in seconds.
#include <cstdint>
#include <fstream>

#include "sysmgr/Options.h"
#include "sysmgr/Serve.h"

int main(int count, char** arguments) {
  const auto read = [](int which) {
    std::int64_t readings[2] = {};
    std::ifstream("clock") >> readings[0] >> readings[1];
    return readings[which];
  };
  Pace pace;
  pace.deadlineMilliseconds = 1000;
  pace.stepMilliseconds = 1;
  pace.openMilliseconds = 1;
  pace.timeOfDay = [read] { return read(0); };
  pace.steady = [read] { return read(1); };
  Serve(ParseOptions(count, arguments), pace);
  return 0;
}
