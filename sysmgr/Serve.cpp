// SPDX-License-Identifier: MIT
//
// Creates the parts, first those that others need.
#include "sysmgr/Serve.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "sysmgr/Features.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/ModelReader.h"
#include "sysmgr/service/Authorisation.h"
#include "sysmgr/service/Dispatcher.h"

namespace {

template <typename Clock>
std::int64_t Seconds() {
  const auto now = Clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace

std::int64_t TimeOfDay() {
  return Seconds<std::chrono::system_clock>();
}

std::int64_t SteadyTime() {
  return Seconds<std::chrono::steady_clock>();
}

void Serve(const Options& options, const Pace& pace) {
  const Model model = ReadModelFile(options.model);
  const Authorisation authorisation = Authorisation::FromFile(options.authorisation);
  Storage storage(options.database, model, pace.openMilliseconds);
  Settings settings(model, storage);
  FeatureSetup setup;
  setup.seed = options.seed;
  setup.timeOfDay = pace.timeOfDay;
  setup.steady = pace.steady;
  setup.filesFolder = options.files;
  setup.uploadFile = options.upload;
  setup.stateFolder = FolderOf(options.database);
  Features features(settings, setup);
  Device device(settings, features.All());
  Dispatcher dispatcher(device, authorisation);
  Server server(
      options.socket, dispatcher, [&features] { features.OnTimer(); }, pace.deadlineMilliseconds);
  features.RunStepsWith([&server, &pace](std::function<bool()> step) {
    server.RunSteps(pace.stepMilliseconds, std::move(step));
  });
  if (!authorisation.IsExpected()) {
    Log::Write("no authorisation file '" + options.authorisation + "': none is expected");
  }
  server.Run();
}
