// SPDX-License-Identifier: MIT
//
// sysmgrd: the command line, and the status with which it ends.
#include <malloc.h>

#include <cstdio>
#include <exception>

#include "sysmgr/Messages.h"
#include "sysmgr/Options.h"
#include "sysmgr/Serve.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/ModelReader.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Buffers from this size on go back to the system when they are freed. Large answers are rare; the
// C library would learn from the first one to keep such memory for itself.
constexpr int kLargeBufferBytes = 256 * 1024;
constexpr int kKeptHeapBytes = 1 << 20;

int Run(const Options& options) {
  switch (options.action) {
    case Options::Action::kHelp:
      return std::fputs(HelpText().c_str(), stdout) < 0 ? kExitFailure : 0;
    case Options::Action::kVersion:
      return std::puts("sysmgrd " VISTEL_VERSION) < 0 ? kExitFailure : 0;
    case Options::Action::kCheckModel:
      ReadModelFile(options.model);
      return 0;
    case Options::Action::kMessages:
      for (const std::string& message : MessagesOf(ReadModelFile(options.model))) {
        if (std::puts(message.c_str()) < 0) return kExitFailure;
      }
      return std::fflush(stdout) == 0 ? 0 : kExitFailure;
    case Options::Action::kServe:
      break;
  }
  Serve(options);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  mallopt(M_MMAP_THRESHOLD, kLargeBufferBytes);
  // Naming one threshold stops the library from adapting the other: the heap would shrink and grow
  // with every answer.
  mallopt(M_TRIM_THRESHOLD, kKeptHeapBytes);
  Options options;
  try {
    options = ParseOptions(count, arguments);
  } catch (const std::exception& error) {
    Log::Write(error.what());
    return kExitUsage;
  }
  try {
    return Run(options);
  } catch (const std::exception& error) {
    Log::Write(error.what());
    return kExitFailure;
  }
}
