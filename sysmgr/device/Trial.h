// SPDX-License-Identifier: MIT
//
// Settings on trial: those by which the device is reached. A change of them that locks the owner
// out takes itself back. The rule to know: unless somebody confirms a change in time, the settings
// from before are stored again, and then everything is as if nobody had changed them.
//
// The former values are stored together with the new ones, so that they outlast the service and a
// power cut. The time then begins anew, because the owner can't reach the device while it starts.
//
// Sources: "trial-seconds", the time left, "" when nothing is on trial; the table "trial-settings"
// (Key, Former, Present). Action: "trial" with the value "keep"; any other one is "return".
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"

class Trial {
 public:
  // Long enough to walk to the router and look up the device's address.
  static constexpr std::int64_t kSeconds = 120;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // Calls the function every second until it returns false.
  using Ticker = std::function<void(std::function<bool()>)>;

  // Both must outlive the object, which must outlive every storing of settings.
  Trial(Settings& settings, EventLog& log, Clock clock);
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  // Without a ticker nothing ever returns by itself. Goes on with what was on trial when the
  // service ended.
  void TickWith(Ticker ticker);

  // The object must outlive the sources.
  void OfferTo(Sources& sources);

 private:
  bool IsPending() const;
  std::int64_t SecondsLeft() const;
  void Complete(Storage::Batch& batch, const Storage::Lookup& before) const;
  void OnChange(const Storage::Changes& changes);
  void Begin();
  bool Tick();
  void Return(OutcomeTaker done, Sentence event);
  void Keep(OutcomeTaker done);
  LiveRows Rows() const;

  Settings& settings_;
  EventLog& log_;
  Clock clock_;
  Ticker ticker_;
  std::int64_t since_ = 0;
  bool isTicking_ = false;
};
