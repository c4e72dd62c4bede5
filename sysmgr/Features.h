// SPDX-License-Identifier: MIT
//
// Creates the parts of the simulated device, which offer every source and action that the project's
// model names.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "simulator/Powerline.h"
#include "simulator/Restarts.h"
#include "simulator/SimulatedNetwork.h"
#include "simulator/StationActions.h"
#include "simulator/StationBook.h"
#include "sysmgr/configuration/Configuration.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/firmware/FirmwareUpdate.h"

struct FeatureSetup {
  std::uint64_t seed = 1;                   // of the powerline
  std::function<std::int64_t()> timeOfDay;  // seconds; may jump in either direction
  std::function<std::int64_t()> steady;     // seconds of the monotonic clock
  std::string filesFolder;                  // for files to fetch
  std::string uploadFile;
  std::string stateFolder;  // for firmware images
};

class Features {
 public:
  // The settings must outlive the features. Throws StartFailure.
  Features(Settings& settings, const FeatureSetup& setup);
  Features(const Features&) = delete;
  Features& operator=(const Features&) = delete;

  const Sources& All() const { return sources_; }
  Powerline& GetPowerline() { return powerline_; }

  // Sets how the steps of an installation of firmware are called.
  void RunStepsWith(FirmwareUpdate::StepRunner runner) {
    firmware_.RunStepsWith(std::move(runner));
  }

  // Does the work that is due without a request.
  void OnTimer();

 private:
  void AddEvents(Settings& settings);

  std::function<std::int64_t()> steady_;
  HandoverFolder files_;
  UploadedFile upload_;
  EventLog log_;
  FirmwareUpdate firmware_;
  StationBook book_;
  Powerline powerline_;
  Configuration configuration_;
  SimulatedNetwork network_;
  StationActions stations_;
  Restarts restarts_;
  Sources sources_;
};
