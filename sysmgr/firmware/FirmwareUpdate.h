// SPDX-License-Identifier: MIT
//
// The way of a firmware image into the device: uploaded, waiting, installed, running after the next
// restart. The rule to know: a power cut at any moment leaves the old installed image or the new
// one, whole.
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
  // What runs where no image has been installed.
  static constexpr const char* kBuiltInVersion = "2.3.1-02";

  // The installation takes five seconds in this many steps, so that nobody waits for more than one:
  // some write the image, the others read back what is on the disk.
  static constexpr int kStepMilliseconds = 100;
  static constexpr unsigned kWritingSteps = 40;
  static constexpr unsigned kReadingSteps = 10;

  // Begins to call a step every kStepMilliseconds, until it returns false. The first call comes
  // after the runner has returned.
  using StepRunner = std::function<void(std::function<bool()> step)>;

  // Images are kept in `folder`. What is in there already is verified: an installed image runs, a
  // waiting one goes on waiting, and what is neither is removed. `upload` and `log` must outlive
  // the object.
  FirmwareUpdate(std::string folder, const UploadedFile& upload, std::string model, EventLog& log);
  ~FirmwareUpdate();
  FirmwareUpdate(const FirmwareUpdate&) = delete;
  FirmwareUpdate& operator=(const FirmwareUpdate&) = delete;

  // Without a runner nothing is ever installed.
  void RunStepsWith(StepRunner runner) { runner_ = std::move(runner); }

  // Makes the upload file the waiting image. It is gone afterwards, whatever it was, and so is an
  // image that waited before; where there is none, nothing changes.
  Outcome Check();
  // Begins to install the waiting image, or checks the upload file first where none waits.
  Outcome Install();
  // Removes the waiting image. Without one it has nothing to do.
  Outcome Drop();

  bool IsInstalling() const { return installation_ != nullptr; }

  // What the device does when it starts: the installed image runs, none waits. Not to be called
  // while one is being installed.
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
  FirmwareImage waiting_;  // its bytes are 0 where none waits
  std::string fault_;      // the line of the header for which the last one was refused
  std::string runningVersion_;
  std::string installedVersion_;
  bool needsRestart_ = false;  // installed and not running yet
  std::unique_ptr<Installation> installation_;
};
