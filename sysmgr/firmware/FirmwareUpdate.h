// SPDX-License-Identifier: MIT
//
// Brings a firmware image into the device: it is uploaded, waits, is installed, and runs after the
// next restart. The rule to know: after a power cut at any moment, the old installed image or the
// new one is there, and whole.
//
// Sources: "firmware" (the version that runs), "firmware-state", "firmware-progress",
// "firmware-fault", "firmware-older" and the table "firmware-image" (Model, Version, Bytes,
// Sha256). Action: "firmware-update" with the parameters "Older" and "Restart".
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/firmware/FirmwareImage.h"

class FirmwareUpdate {
 public:
  // The version that runs when no image has been installed.
  static constexpr const char* kBuiltInVersion = "2.3.1-02";

  // The installation takes five seconds in so many steps, or longer on a slow disk. The first steps
  // write the image, the others read it back from the disk.
  static constexpr int kStepMilliseconds = 100;
  static constexpr unsigned kWritingSteps = 40;
  static constexpr unsigned kReadingSteps = 10;

  // Calls a step every kStepMilliseconds, until it returns false. Returns before the first call.
  using StepRunner = std::function<void(std::function<bool()> step)>;

  // Does `work`, which waits for the disk, beside the event loop, and then calls `done` from it.
  using DiskRunner = std::function<void(std::function<void()> work, std::function<void()> done)>;

  // Keeps images in `folder`. Verifies those in it: a correct installed image runs, and a correct
  // waiting one keeps waiting. Removes a faulty waiting image and unfinished files. `upload` and
  // `log` must outlive the object.
  FirmwareUpdate(std::string folder, const UploadedFile& upload, FirmwareTrust trust,
                 EventLog& log);
  ~FirmwareUpdate();
  FirmwareUpdate(const FirmwareUpdate&) = delete;
  FirmwareUpdate& operator=(const FirmwareUpdate&) = delete;

  // Without a runner of steps, nothing is ever installed; without one for the disk, everybody waits
  // for the disk. What they run must have ended before the object goes.
  void RunStepsWith(StepRunner runner) { runner_ = std::move(runner); }
  void RunDiskWith(DiskRunner runner) { disk_ = std::move(runner); }

  // Makes the uploaded file the waiting image. Removes the uploaded file, even a faulty one, and,
  // if the uploaded file could be opened, an image that waited before.
  void Check(const OutcomeTaker& done);
  // Begins to install the waiting image; if none waits, first checks the uploaded file.
  void Install(bool evenOlder, const OutcomeTaker& done);
  // Removes the waiting image, if there is one.
  Outcome Drop();

  // Called when an image is installed whose owner wants it to run at once.
  void OnInstalled(std::function<void()> listener) { onInstalled_ = std::move(listener); }

  // Success unless an image is being installed or checked: nothing else can be done then.
  Outcome Readiness() const;

  // Does what the device does when it starts: runs the installed image and forgets a waiting one.
  // Must not be called without Readiness.
  void Restart();

  const std::string& RunningVersion() const { return runningVersion_; }

  void OfferTo(Sources& sources);

 private:
  enum class State { kIdle, kChecked, kInstalling, kInstalled, kFailed };
  struct Installation;

  std::string Path(const char* name) const { return folder_ + "/" + name; }
  Outcome CopyUpload(int upload, FirmwareImage& image) const;
  Outcome TakeImage(const Outcome& copied, const FirmwareImage& image);
  bool IsInstalling() const { return installation_ != nullptr; }
  bool Verify(const char* name, FirmwareImage& image) const;
  void Forget();
  void DropWaiting();
  unsigned Progress() const;  // percent
  Outcome Begin(bool evenOlder);
  bool IsOlder() const;
  bool Step();
  void FinishStep(const Outcome& outcome);
  Outcome StepOn();
  Outcome FinishInstallation();
  LiveRows WaitingImage() const;

  std::string folder_;
  const UploadedFile& upload_;
  FirmwareTrust trust_;
  EventLog& log_;
  StepRunner runner_;
  std::function<void()> onInstalled_;
  DiskRunner disk_ = [](const auto& work, const auto& done) {
    work();
    done();
  };
  State state_ = State::kIdle;
  FirmwareImage waiting_;  // its `bytes` are 0 when none waits
  std::string fault_;      // the line of the header for which the last image was refused
  std::string runningVersion_;
  std::string installedVersion_;
  bool needsRestart_ = false;  // an image is installed but not running yet
  bool runsAtOnce_ = false;    // the image that is being installed runs without a further wish
  bool isChecking_ = false;    // the uploaded file is being copied
  std::unique_ptr<Installation> installation_;
};
