// SPDX-License-Identifier: MIT
//
// sysmgrd: puts the parts together, the ones that others rely on first.
#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <utility>

#include "sysmgr/Features.h"
#include "sysmgr/Options.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/ModelReader.h"
#include "sysmgr/service/Authorisation.h"
#include "sysmgr/service/Dispatcher.h"
#include "sysmgr/service/Server.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Buffers from this size on go back to the system when they are freed. Large answers are rare; the
// C library would learn from the first one to keep such memory for itself.
constexpr int kLargeBufferBytes = 256 * 1024;
constexpr int kKeptHeapBytes = 1 << 20;

template <typename Clock>
std::int64_t Seconds() {
  const auto now = Clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

void Serve(const Options& options) {
  const Model model = ReadModelFile(options.model);
  const Authorisation authorisation = Authorisation::FromFile(options.authorisation);
  Storage storage(options.database, model);
  Settings settings(model, storage);
  FeatureSetup setup;
  setup.seed = options.seed;
  setup.timeOfDay = Seconds<std::chrono::system_clock>;
  setup.steady = Seconds<std::chrono::steady_clock>;
  setup.filesFolder = options.files;
  setup.uploadFile = options.upload;
  setup.stateFolder = FolderOf(options.database);
  Features features(settings, setup);
  Device device(settings, features.All());
  Dispatcher dispatcher(device, authorisation);
  Server server(options.socket, dispatcher, [&features] { features.OnTimer(); });
  features.RunStepsWith([&server](std::function<bool()> step) {
    server.RunSteps(FirmwareUpdate::kStepMilliseconds, std::move(step));
  });
  if (!authorisation.IsExpected()) {
    Log::Write("no authorisation file '" + options.authorisation + "': none is expected");
  }
  server.Run();
}

int Run(const Options& options) {
  switch (options.action) {
    case Options::Action::kHelp:
      return std::fputs(HelpText().c_str(), stdout) < 0 ? kExitFailure : 0;
    case Options::Action::kVersion:
      return std::puts("sysmgrd " VISTEL_VERSION) < 0 ? kExitFailure : 0;
    case Options::Action::kCheckModel:
      ReadModelFile(options.model);
      return 0;
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
