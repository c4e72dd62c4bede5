// SPDX-License-Identifier: MIT
//
// Creates the parts, first those that others need.
#include "sysmgr/Serve.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/FolderOf.h"
#include "sysmgr/Features.h"
#include "sysmgr/Notify.h"
#include "sysmgr/OwnSources.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/loop/EventLoop.h"
#include "sysmgr/loop/Listener.h"
#include "sysmgr/loop/Worker.h"
#include "sysmgr/model/ModelReader.h"
#include "sysmgr/providers/Providers.h"
#include "sysmgr/service/Authorisation.h"
#include "sysmgr/service/Dispatcher.h"

namespace {

// How often the parts do what is due when nobody asks.
constexpr int kTimerSeconds = 15;

// How often they ask again for what a device has not told.
constexpr int kLookSeconds = 1;

constexpr mode_t kClientsMode = 0660;
constexpr mode_t kProvidersMode = 0600;

template <typename Clock>
std::int64_t Seconds() {
  const auto now = Clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
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
  CheckOwnSources(model);
  Authorisation authorisation(options.authorisation, options.isOpen);
  EventLoop loop;
  // Before the sockets are made: a signal that ended the process would leave them behind.
  for (const int number : {SIGTERM, SIGINT}) {
    loop.OnSignal(number, [&loop, number] {
      Log::Write("ending on signal " + std::to_string(number));
      NotifyServiceManager("STOPPING=1");
      loop.End();
    });
  }
  loop.OnSignal(SIGHUP, [&authorisation] { authorisation.Reload(); });
  // First of all that is written, so that a second service ends before it touches the files of the
  // first one.
  Listener clients(options.socket, kClientsMode);
  Listener devices(options.providers, kProvidersMode);
  Storage storage(options.database, model, pace.openMilliseconds, pace.databaseVersion);
  Settings settings(model, storage);
  FeatureSetup setup;
  setup.timeOfDay = pace.timeOfDay;
  setup.steady = pace.steady;
  setup.filesFolder = options.files;
  setup.uploadFile = options.upload;
  setup.firmwareKeys = ReadFirmwareKeys(options.firmwareKeys);
  setup.passwordFile = options.password;
  setup.commonPasswords = options.commonPasswords;
  setup.stateFolder = FolderOf(options.database);
  Features features(settings, setup);
  Device device(settings, features.All(), &features.PageForms());
  Dispatcher dispatcher(device, authorisation);
  Server server(loop, clients, dispatcher, pace.deadlineMilliseconds);
  Providers providers(features.WorldOf(loop), devices, pace.patience);
  settings.AddObserver([&providers](const Storage::Changes& changes, const std::string&) {
    providers.OnChange(Settings::NamesOf(changes));
  });
  features.OnReset([&providers] { providers.OnReset(); });
  loop.Every(kTimerSeconds, [&features] { features.OnTimer(); });
  loop.Every(pace.sampleSeconds, [&features, &device] { features.Sample(device); });
  loop.Every(kLookSeconds, [&features, &device] { features.SampleUnknown(device); });
  features.RunStepsWith([&loop, &pace](std::function<bool()> step) {
    loop.RunSteps(pace.stepMilliseconds, std::move(step));
  });
  features.TickWith([&loop](std::function<bool()> tick) {
    loop.While(1, std::move(tick));  // the seconds that a page counts
  });
  // The last, so that its work has ended before anything goes that it uses.
  Worker disk(loop);
  const auto runner = [&disk](std::function<void()> work, std::function<void()> done) {
    disk.Run(std::move(work), std::move(done));
  };
  storage.RunWith(runner);
  features.RunDiskWith(runner);
  if (authorisation.AdmitsEverybody()) {
    Log::Write("no authorisation file '" + options.authorisation + "': none is expected",
               Log::Priority::kWarning);
  }
  Log::Write("ready on '" + options.socket + "'");
  NotifyServiceManager("READY=1");
  loop.Run();
  // Whoever has handed over settings learns what became of them.
  disk.Finish();
}
