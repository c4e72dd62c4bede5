// SPDX-License-Identifier: MIT
//
// Restart and factory reset of the simulated device. The service itself keeps running, while each
// part forgets what a restarted device would forget.
//
// Actions: "restart", "factory-reset".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/Powerline.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/firmware/FirmwareUpdate.h"

class Restarts {
 public:
  // All must outlive the object.
  Restarts(Settings& settings, FirmwareUpdate& firmware, Powerline& powerline, EventLog& log)
      : settings_(settings), firmware_(firmware), powerline_(powerline), log_(log) {}

  // Called on each restart, to forget everything that is kept only in memory.
  void AddListener(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

  // Both are refused while firmware is being installed.
  Outcome Restart();
  // Resets the settings to their defaults, forgets the names and additions of stations, and then
  // does the same as Restart; or does nothing. The installed firmware stays.
  Outcome FactoryReset();

  void OfferTo(Sources& sources);

 private:
  Settings& settings_;
  FirmwareUpdate& firmware_;
  Powerline& powerline_;
  EventLog& log_;
  std::vector<std::function<void()>> listeners_;
};
