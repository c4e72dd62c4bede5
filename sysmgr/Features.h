// SPDX-License-Identifier: MIT
//
// Creates the parts that offer the service's own sources and actions: firmware, configurations, the
// device's password, the log, restarts. All others come from providers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "sysmgr/Restarts.h"
#include "sysmgr/configuration/Configuration.h"
#include "sysmgr/device/ChangeBook.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Forms.h"
#include "sysmgr/device/History.h"
#include "sysmgr/device/LocalClock.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/device/Trial.h"
#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/firmware/FirmwareUpdate.h"
#include "sysmgr/loop/EventLoop.h"
#include "sysmgr/password/DevicePassword.h"
#include "sysmgr/providers/ProviderSession.h"

struct FeatureSetup {
  std::function<std::int64_t()> timeOfDay;  // seconds; may jump in either direction
  std::function<std::int64_t()> steady;     // seconds of the monotonic clock
  std::string filesFolder;                  // for files to fetch
  std::string uploadFile;
  std::vector<std::string> firmwareKeys;
  std::string passwordFile;
  std::string commonPasswords;
  std::string stateFolder;  // for firmware images
};

class Features {
 public:
  // The settings must outlive the features. Throws StartFailure.
  Features(Settings& settings, const FeatureSetup& setup);
  Features(const Features&) = delete;
  Features& operator=(const Features&) = delete;

  const Sources& All() const { return sources_; }
  Forms& PageForms() { return forms_; }

  // See Restarts::OnReset.
  void OnReset(std::function<void()> listener) {
    restarts_.OnReset([this, listener = std::move(listener)] {
      book_.Clear();
      listener();
    });
  }

  // See Trial::TickWith.
  void TickWith(Trial::Ticker ticker) { trial_.TickWith(std::move(ticker)); }

  // Sets how the steps of an installation of firmware are called.
  void RunStepsWith(FirmwareUpdate::StepRunner runner) {
    firmware_.RunStepsWith(std::move(runner));
  }

  // Sets how work is done that waits for the disk. It must have ended before the features go.
  void RunDiskWith(const FirmwareUpdate::DiskRunner& runner) {
    firmware_.RunDiskWith(runner);
    password_.RunDiskWith(runner);
  }

  // What providers use of it.
  ProviderWorld WorldOf(EventLoop& loop) {
    return {loop,   sources_, settings_,
            files_, log_,     [this] { return firmware_.RunningVersion(); },
            steady_};
  }

  // Does the work that is due without a request.
  void OnTimer();

  // Records how the device is; see History::Sample.
  void Sample(Device& device) { history_.Sample(device); }

  // See History::SampleUnknown.
  void SampleUnknown(Device& device) { history_.SampleUnknown(device); }

 private:
  void AddEvents(Settings& settings);

  Settings& settings_;
  std::function<std::int64_t()> steady_;
  HandoverFolder files_;
  UploadedFile upload_;
  LocalClock clock_;
  EventLog log_;
  FirmwareUpdate firmware_;
  DevicePassword password_;
  Configuration configuration_;
  History history_;
  ChangeBook book_;
  Forms forms_;
  Trial trial_;
  Sources sources_;
  Restarts restarts_;
};
