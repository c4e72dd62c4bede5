// SPDX-License-Identifier: MIT
//
// The parts of the simulated device, put together: everything that the project's model names as a
// source or an action.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "sysmgr/Configuration.h"
#include "sysmgr/HandoverFolder.h"
#include "sysmgr/Powerline.h"
#include "sysmgr/Settings.h"
#include "sysmgr/SimulatedNetwork.h"
#include "sysmgr/Sources.h"
#include "sysmgr/UploadFile.h"

struct FeatureSetup {
  std::uint64_t seed = 1;                   // of the powerline
  std::function<std::int64_t()> timeOfDay;  // seconds; may jump in either direction
  std::function<std::int64_t()> steady;     // seconds; never runs backwards
  std::string filesFolder;                  // for files to fetch
  std::string uploadFile;
};

class Features {
 public:
  // The settings must outlive the features. Throws StartFailure.
  Features(Settings& settings, const FeatureSetup& setup);
  Features(const Features&) = delete;
  Features& operator=(const Features&) = delete;

  const Sources& All() const { return sources_; }
  Powerline& GetPowerline() { return powerline_; }

  // What is due even when nobody asks.
  void OnTimer();

 private:
  HandoverFolder files_;
  UploadFile upload_;
  Powerline powerline_;
  Configuration configuration_;
  SimulatedNetwork network_;
  Sources sources_;
};
