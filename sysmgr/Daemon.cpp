// SPDX-License-Identifier: MIT
//
// sysmgrd: its command line and its exit status.
#include "sysmgr/Daemon.h"

#include <malloc.h>

#include <cstdio>
#include <exception>

#include "sysmgr/Messages.h"
#include "sysmgr/Options.h"
#include "sysmgr/OwnSources.h"
#include "sysmgr/Serve.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/ModelReader.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Buffers of at least this size go back to the system when they are freed. Large answers are rare,
// but after the first one the C library would keep such memory.
constexpr int kLargeBufferBytes = 256 * 1024;
constexpr int kKeptHeapBytes = 1 << 20;

int Run(const Options& options) {
  switch (options.action) {
    case Options::Action::kHelp:
      return std::fputs(HelpText().c_str(), stdout) < 0 ? kExitFailure : 0;
    case Options::Action::kVersion:
      return std::puts("sysmgrd " VISTEL_VERSION) < 0 ? kExitFailure : 0;
    case Options::Action::kCheckModel:
      CheckOwnSources(ReadModelFile(options.model));
      return 0;
    case Options::Action::kMessages:
      for (const std::string& message : MessagesOf(ReadModelFile(options.model))) {
        if (std::puts(message.c_str()) < 0) return kExitFailure;
      }
      return std::fflush(stdout) == 0 ? 0 : kExitFailure;
    case Options::Action::kServe:
      break;
  }
  Pace pace;
  pace.sampleSeconds = VISTEL_SYSMGR_SAMPLE_SECONDS;
  Serve(options, pace);
  return 0;
}

}  // namespace

int DaemonMain(int count, char** arguments) {
  mallopt(M_MMAP_THRESHOLD, kLargeBufferBytes);
  // Setting one threshold stops the library from adapting the other one; without this, the heap
  // would shrink and grow with every answer.
  mallopt(M_TRIM_THRESHOLD, kKeptHeapBytes);
  Options options;
  try {
    options = ParseOptions(count, arguments);
  } catch (const std::exception& error) {
    Log::Write(error.what(), Log::Priority::kError);
    return kExitUsage;
  }
  try {
    return Run(options);
  } catch (const std::exception& error) {
    Log::Write(error.what(), Log::Priority::kError);
    return kExitFailure;
  }
}
