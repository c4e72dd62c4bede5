// SPDX-License-Identifier: MIT
//
// Brings a firmware image into the device: it is uploaded, waits, is installed, and runs after the
// next restart. The rule to know: after a power cut at any moment, the old installed image or the
// new one is there, and whole.
//
// Sources: "firmware" (the version that runs), "firmware-state", "firmware-progress",
// "firmware-fault" and the table "firmware-image" (Model, Version, Bytes, Sha256). Action:
// "firmware-update".
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

  // The installation takes five seconds in so many steps, so that no client waits for more than one
  // step. The first steps write the image, the others read it back from the disk.
  static constexpr int kStepMilliseconds = 100;
  static constexpr unsigned kWritingSteps = 40;
  static constexpr unsigned kReadingSteps = 10;

  // Calls a step every kStepMilliseconds, until it returns false. Returns before the first call.
  using StepRunner = std::function<void(std::function<bool()> step)>;

  // Keeps images in `folder`. Verifies those in it: a correct installed image runs, and a correct
  // waiting one keeps waiting. Removes a faulty waiting image and unfinished files. `upload` and
  // `log` must outlive the object.
  FirmwareUpdate(std::string folder, const UploadedFile& upload, std::string model, EventLog& log);
  ~FirmwareUpdate();
  FirmwareUpdate(const FirmwareUpdate&) = delete;
  FirmwareUpdate& operator=(const FirmwareUpdate&) = delete;

  // Without a runner, nothing is ever installed.
  void RunStepsWith(StepRunner runner) { runner_ = std::move(runner); }

  // Makes the uploaded file the waiting image. Removes the uploaded file, even a faulty one, and,
  // if the uploaded file could be opened, an image that waited before.
  Outcome Check();
  // Begins to install the waiting image; if none waits, first checks the uploaded file.
  Outcome Install();
  // Removes the waiting image, if there is one.
  Outcome Drop();

  bool IsInstalling() const { return installation_ != nullptr; }

  // Does what the device does when it starts: runs the installed image and forgets a waiting one.
  // Must not be called while one is being installed.
  void Restart();

  const std::string& RunningVersion() const { return runningVersion_; }

  void OfferTo(Sources& sources);

 private:
  enum class State { kIdle, kChecked, kInstalling, kInstalled, kFailed };
  struct Installation;

  std::string Path(const char* name) const { return folder_ + "/" + name; }
  Outcome CopyUpload(int upload, FirmwareImage& image) const;
  bool Verify(const char* name, FirmwareImage& image) const;
  void Forget();
  void DropWaiting();
  unsigned Progress() const;  // percent
  bool Step();
  Outcome TryStep();
  Outcome StepOn();
  Outcome FinishInstallation();
  LiveRows WaitingImage() const;

  std::string folder_;
  const UploadedFile& upload_;
  std::string model_;
  EventLog& log_;
  StepRunner runner_;
  State state_ = State::kIdle;
  FirmwareImage waiting_;  // its `bytes` are 0 when none waits
  std::string fault_;      // the line of the header for which the last image was refused
  std::string runningVersion_;
  std::string installedVersion_;
  bool needsRestart_ = false;  // an image is installed but not running yet
  std::unique_ptr<Installation> installation_;
};
