// SPDX-License-Identifier: MIT
//
// The password that the web servers ask for. The rule to know: the servers read its hash from the
// file anew for each request, so a new password counts as soon as the file is in place.
//
// Source: "password-set". Action: "change-password" with the parameters "Old" and "Again".
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Sources.h"

class DevicePassword {
 public:
  // The one user; there is one owner.
  static constexpr std::string_view kUser = "admin";

  // The pause after a wrong password: each attempt computes a hash, during which no client is
  // answered.
  static constexpr std::int64_t kRetrySeconds = 2;

  // The letters of a made password, in groups of five: 74 random bits.
  static constexpr std::size_t kMadeLetters = 15;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // `common` is a file with a password per line that nobody may choose. `log` must outlive the
  // object.
  DevicePassword(std::string file, std::string common, Clock clock, EventLog& log);

  // Whether the device has a password; servers that were told to do without ask for none.
  bool IsSet() const;

  // Succeeds when `given` is the device's password, or when it has none. After a wrong one, refuses
  // any for kRetrySeconds.
  Outcome Confirm(std::string_view given);

  // Does `work`, which waits for the disk, beside the event loop, and then calls `done` from it.
  // Without a runner everybody waits. What it runs must have ended before the object goes.
  using DiskRunner = std::function<void(std::function<void()> work, std::function<void()> done)>;
  void RunDiskWith(DiskRunner runner) { disk_ = std::move(runner); }

  void OfferTo(Sources& sources);

  // Puts the password's hash into the file, whole or not at all. If root does it, the file belongs
  // to the owner of its folder, who runs the web server.
  static Outcome Store(const std::string& file, const std::string& password);

  // A new password at random, of small letters and digits that can't be taken for each other.
  static std::string Make();

 private:
  Outcome CheckChange(const ActionRequest& request);
  void Change(const ActionRequest& request, const OutcomeTaker& done);
  bool IsCommon(std::string_view password) const;

  std::string file_;
  std::string common_;
  Clock clock_;
  EventLog& log_;
  DiskRunner disk_ = [](const auto& work, const auto& done) {
    work();
    done();
  };
  std::int64_t retry_ = 0;  // the time from which passwords are compared again
};
