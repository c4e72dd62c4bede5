// SPDX-License-Identifier: MIT
//
// Restart and factory reset. The service itself runs on: each part forgets what it would forget,
// and the device is told to start again, where a provider offers that as "device-restart".
//
// Actions: "restart", "factory-reset".
#pragma once

#include <functional>
#include <vector>

#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/firmware/FirmwareUpdate.h"

class Restarts {
 public:
  // All must outlive the object, which offers its actions to `sources`.
  Restarts(Settings& settings, FirmwareUpdate& firmware, Sources& sources, EventLog& log);
  Restarts(const Restarts&) = delete;
  Restarts& operator=(const Restarts&) = delete;

  // Restarts without a request, such as after an installation. Nothing happens when it is refused.
  void RestartAtOnce();

  // Called on each restart: what is kept in memory only is forgotten.
  void AddListener(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

  // Called when everything that was stored is gone, before the device starts again.
  void OnReset(std::function<void()> listener) { onReset_ = std::move(listener); }

 private:
  // Both are refused while firmware is being checked or installed.
  void Restart(const ActionRequest& request, const OutcomeTaker& done);
  // The settings have their defaults, what was kept for providers is forgotten, and then as
  // Restart; or nothing of it. The installed firmware stays.
  void FactoryReset(const ActionRequest& request, const OutcomeTaker& done);
  // What follows when nothing refuses it.
  void StartAgain(const ActionRequest& request, const OutcomeTaker& done);

  Settings& settings_;
  FirmwareUpdate& firmware_;
  Sources& sources_;
  EventLog& log_;
  std::vector<std::function<void()>> listeners_;
  std::function<void()> onReset_;
};
