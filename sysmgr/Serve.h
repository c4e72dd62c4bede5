// SPDX-License-Identifier: MIT
//
// The running service without its command line.
#pragma once

#include <cstdint>
#include <functional>

#include "sysmgr/Options.h"
#include "sysmgr/device/History.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/firmware/FirmwareUpdate.h"
#include "sysmgr/providers/ProviderLink.h"
#include "sysmgr/service/Server.h"

// Seconds of the time of day, which may jump in either direction, and of the monotonic clock.
std::int64_t TimeOfDay();
std::int64_t SteadyTime();

// The durations that someone waits for, and the clocks: those of the product, or others for a test.
struct Pace {
  int deadlineMilliseconds = Server::kDeadlineMilliseconds;
  int stepMilliseconds = FirmwareUpdate::kStepMilliseconds;
  int openMilliseconds = Storage::kOpenMilliseconds;
  int sampleSeconds = History::kSampleSeconds;
  unsigned databaseVersion = Database::kVersion;
  std::function<std::int64_t()> timeOfDay = TimeOfDay;
  std::function<std::int64_t()> steady = SteadyTime;
  ProviderPatience patience = {};
};

// Serves until a signal ends it. Throws when it can't start or continue.
void Serve(const Options& options, const Pace& pace = {});
