// SPDX-License-Identifier: MIT
//
// Restart and factory reset of the simulated device. The service itself runs on: each part forgets
// what it would forget.
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

  // Called on each restart: what is kept in memory only is forgotten.
  void AddListener(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

  // Both are refused while firmware is being installed.
  Outcome Restart();
  // The settings have their defaults, what was told about stations is forgotten, and then as
  // Restart; or nothing of it. The installed firmware stays.
  Outcome FactoryReset();

  void OfferTo(Sources& sources);

 private:
  Settings& settings_;
  FirmwareUpdate& firmware_;
  Powerline& powerline_;
  EventLog& log_;
  std::vector<std::function<void()>> listeners_;
};
