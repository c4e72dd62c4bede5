// SPDX-License-Identifier: MIT
//
// Exports the settings and restores exported ones. The rules to know: nothing is stored without the
// same checks as settings from a page; what does not pass them is left out only if somebody has
// been told so before, and else nothing is stored.
//
// It offers the values "config-show", "config-show-crypt", "auto-config-show",
// "config-password-set" and "config-pending", the tables "config-changes" and "config-mistakes" and
// the actions "config-restore" with the parameter "Password" and "config-password" with the
// parameter "DevicePassword".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/configuration/ConfigurationCipher.h"
#include "sysmgr/device/LocalClock.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/log/ProblemList.h"
#include "sysmgr/password/DevicePassword.h"

class Configuration {
 public:
  // How long a checked configuration waits for the owner's confirmation, and how long is kept what
  // is left out of it, or why one was refused.
  static constexpr std::int64_t kPendingSeconds = 600;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // The pause after a wrong password: each attempt computes a hash, during which no client is
  // answered.
  static constexpr std::int64_t kRetrySeconds = 2;

  // All must outlive the configuration, which must outlive every storing of settings.
  Configuration(Settings& settings, HandoverFolder& files, const UploadedFile& upload,
                DevicePassword& device, const LocalClock& local, Clock clock);

  // The configuration must outlive the sources.
  void OfferTo(Sources& sources);

  // Called for every restored configuration, after its settings have been stored.
  void OnRestored(std::function<void()> observer) { onRestored_ = std::move(observer); }

  // Called when the password for encrypted files has changed.
  void OnPassword(std::function<void()> observer) { onPassword_ = std::move(observer); }

  // Forgets everything that is kept only in memory: a pending configuration, mistakes, and the key
  // of the password.
  void Restart() {
    pending_.reset();
    mistakes_ = {};
    cipher_.Forget();
  }

  // Forgets a pending configuration and mistakes whose time has passed.
  void DropOld();

 private:
  enum class Part { kReadable, kAll, kShared };

  // Wiped when it is destroyed, because it may hold secrets.
  struct Pending {
    Storage::Batch settings;
    std::int64_t since = 0;

    Pending() = default;
    ~Pending();
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;
  };
  using PendingPointer = std::shared_ptr<const Pending>;

  std::string Show(Part part, std::string_view client) const;
  // The file is named after the device, the part and the day.
  LiveValue HandOver(std::string_view part, std::string_view suffix, std::string_view content);
  LiveValue ShowSealed(const Question& question);
  LiveRows Changes(const Question& question);
  LiveRows Mistakes();

  std::string Password() const;
  void SetPassword(const ActionRequest& request, OutcomeTaker done);
  void Restore(const ActionRequest& request, OutcomeTaker done);
  Outcome ReadUpload(std::string_view password, Secret& text);
  Outcome Load(const ActionRequest& request, PendingPointer& loaded);
  void Apply(const PendingPointer& applied, const ActionRequest& request, OutcomeTaker done);
  // Remove the settings that can't be restored, each by itself and then together, and add why.
  void Sift(Storage::Batch& batch, std::string_view client, bool isForeign,
            ProblemList& mistakes) const;
  void SiftTogether(Storage::Batch& batch, ProblemList& mistakes) const;
  Outcome ExamineOne(const std::string& key, const std::string& value, std::string_view client,
                     bool isForeign) const;
  void Keep(ProblemList mistakes);
  Outcome Refuse(ProblemList mistakes);

  Settings& settings_;
  HandoverFolder& files_;
  const UploadedFile& upload_;
  DevicePassword& device_;
  const LocalClock& local_;
  Clock clock_;
  ConfigurationCipher cipher_;
  PendingPointer pending_;
  ProblemList mistakes_;  // of the last configuration: why it was refused, or what is left out
  std::int64_t mistakesSince_ = 0;
  std::int64_t retry_ = 0;  // the time from which encrypted files are read again
  std::function<void()> onRestored_;
  std::function<void()> onPassword_;
};
