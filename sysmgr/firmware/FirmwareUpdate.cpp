// SPDX-License-Identifier: MIT
//
// Files change their names only by rename(), and only when what they hold has been verified.
#include "sysmgr/firmware/FirmwareUpdate.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <utility>
#include <vector>

#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "sysmgr/files/NewFile.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr const char* kWaiting = "firmware-waiting.img";
constexpr const char* kInstalled = "firmware-installed.img";

constexpr std::size_t kBlockBytes = 65536;

// What writing is of the whole progress, in percent; reading back is the rest.
constexpr unsigned kWritingShare = 80;

constexpr const char* kBusy = "A firmware image is being installed.";

// Reads from `offset` on until `bytes` are full. False at the end of the file and on an error.
bool ReadAt(int descriptor, std::size_t offset, std::vector<char>& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = pread(descriptor, bytes.data() + done, bytes.size() - done,
                                static_cast<off_t>(offset + done));
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

struct FirmwareUpdate::Installation {
  Installation(const std::string& from, const std::string& to, const std::string& model)
      : source(OpenRegularFile(from, O_NOFOLLOW).descriptor), file(to), verifier(model) {}

  Descriptor source;
  NewFile file;
  std::size_t written = 0;
  std::size_t verified = 0;
  FirmwareVerifier verifier;  // of what came back from the disk
};

FirmwareUpdate::FirmwareUpdate(std::string folder, const UploadedFile& upload, std::string model,
                               EventLog& log)
    : folder_(std::move(folder)),
      upload_(upload),
      model_(std::move(model)),
      log_(log),
      runningVersion_(kBuiltInVersion) {
  for (const char* name : {kWaiting, kInstalled}) unlink((Path(name) + NewFile::kSuffix).c_str());
  FirmwareImage image;
  if (Verify(kInstalled, image)) runningVersion_ = image.version;
  installedVersion_ = runningVersion_;
  if (Verify(kWaiting, waiting_)) {
    state_ = State::kChecked;
  } else {
    Forget();
  }
}

FirmwareUpdate::~FirmwareUpdate() = default;

bool FirmwareUpdate::Verify(const char* name, FirmwareImage& image) const {
  const OpenedFile file = OpenRegularFile(Path(name), O_NOFOLLOW);
  if (file.error != 0) return false;
  const std::string problem = VerifyFirmware(file.descriptor.Number(), model_, image);
  if (!problem.empty()) Log::Write("'" + Path(name) + "' is not used: " + problem);
  return problem.empty();
}

void FirmwareUpdate::Forget() {
  unlink(Path(kWaiting).c_str());
  waiting_ = FirmwareImage();
}

// Verified on the way; nothing more is copied of an image once it is known to be wrong.
std::string FirmwareUpdate::CopyUpload(int upload, FirmwareImage& image) const {
  const auto words = [](const std::string& problem) {
    return problem.empty() ? "" : "The firmware image could not be kept: " + problem + ".";
  };
  NewFile file(Path(kWaiting));
  FirmwareVerifier verifier(model_);
  std::vector<char> block(kBlockBytes);
  for (;;) {
    const ssize_t count = ReadSome(upload, block.data(), block.size());
    if (count < 0) return "The uploaded file can not be read.";
    const std::string_view bytes(block.data(), static_cast<std::size_t>(count));
    if (count == 0 || !verifier.Take(bytes)) break;
    const std::string problem = file.Write(bytes);
    if (!problem.empty()) return words(problem);
  }
  const std::string problem = verifier.Finish(image);
  return problem.empty() ? words(file.Commit()) : problem;
}

std::string FirmwareUpdate::Check() {
  if (IsInstalling()) return kBusy;
  const UploadedFile::Opened upload = upload_.Open();
  upload_.Delete(upload);
  if (!upload.problem.empty()) return upload.problem;
  Drop();
  FirmwareImage image;
  std::string problem = CopyUpload(upload.file.Number(), image);
  if (!problem.empty()) {
    unlink(Path(kWaiting).c_str());
    log_.Add("Firmware image refused: " + problem);
    return problem;
  }
  waiting_ = image;
  state_ = State::kChecked;
  log_.Add("Firmware image checked: version " + image.version + ".");
  return "";
}

std::string FirmwareUpdate::Install() {
  if (IsInstalling()) return kBusy;
  if (waiting_.bytes == 0) {
    std::string problem = Check();
    if (!problem.empty()) return problem;
  }
  auto installation = std::make_unique<Installation>(Path(kWaiting), Path(kInstalled), model_);
  if (!runner_ || !installation->source.IsOpen()) return "The firmware can not be installed.";
  runner_([this] { return Step(); });
  installation_ = std::move(installation);
  state_ = State::kInstalling;
  log_.Add("Firmware installation began: version " + waiting_.version + ".");
  return "";
}

std::string FirmwareUpdate::Drop() {
  if (IsInstalling()) return kBusy;
  Forget();
  state_ = needsRestart_ ? State::kInstalled : State::kIdle;
  return "";
}

bool FirmwareUpdate::Step() {
  if (!IsInstalling()) return false;
  const std::string problem = TryStep();
  if (problem.empty() && installation_->verified < waiting_.bytes) return true;
  installation_.reset();
  if (problem.empty()) {
    needsRestart_ = true;
    installedVersion_ = waiting_.version;
    log_.Add("Firmware installed: version " + waiting_.version + " runs after a restart.");
    state_ = State::kInstalled;
    Forget();
  } else {
    state_ = State::kFailed;
    log_.Add("Firmware installation failed: " + problem + ".");
  }
  return false;
}

std::string FirmwareUpdate::TryStep() {
  try {
    return StepOn();
  } catch (const std::exception& error) {
    return error.what();
  }
}

// Writes or reads back the next part, and makes the image the installed one after the last.
std::string FirmwareUpdate::StepOn() {
  Installation& now = *installation_;
  const std::size_t whole = waiting_.bytes;
  const bool writing = now.written < whole;
  std::size_t& done = writing ? now.written : now.verified;
  const std::size_t steps = writing ? kWritingSteps : kReadingSteps;
  std::vector<char> bytes(std::min(whole - done, (whole + steps - 1) / steps));
  if (!ReadAt(writing ? now.source.Number() : now.file.Number(), done, bytes)) {
    return "the image can not be read";
  }
  const std::string_view part(bytes.data(), bytes.size());
  done += part.size();
  std::string problem;
  if (writing) {
    problem = now.file.Write(part);
    if (problem.empty() && done == whole) problem = now.file.Sync();
  } else {
    now.verifier.Take(part);
    if (done == whole) problem = FinishInstallation();
  }
  return problem;
}

std::string FirmwareUpdate::FinishInstallation() {
  FirmwareImage image;
  const bool isRight = installation_->verifier.Finish(image).empty();
  if (!isRight || image.sha256 != waiting_.sha256) return "the image came back damaged";
  return installation_->file.Commit();
}

void FirmwareUpdate::Restart() {
  Forget();
  state_ = State::kIdle;
  needsRestart_ = false;
  runningVersion_ = installedVersion_;
}

unsigned FirmwareUpdate::Progress() const {
  if (state_ == State::kInstalled) return 100;
  if (!IsInstalling()) return 0;
  const std::size_t percent =
      (kWritingShare * installation_->written + (100 - kWritingShare) * installation_->verified) /
      waiting_.bytes;
  return static_cast<unsigned>(percent);
}

LiveRows FirmwareUpdate::WaitingImage() const {
  auto rows = std::make_shared<std::vector<LiveRow>>();
  if (waiting_.bytes > 0) {
    rows->push_back(
        {waiting_.model, waiting_.version, std::to_string(waiting_.bytes), waiting_.sha256});
  }
  return rows;
}

void FirmwareUpdate::OfferTo(Sources& sources) {
  sources.OfferText("firmware", [this] { return runningVersion_; });
  sources.OfferText("firmware-state", [this] {
    constexpr std::array<const char*, 5> kWords = {"idle", "checked", "installing", "installed",
                                                   "failed"};
    return std::string(kWords[static_cast<std::size_t>(state_)]);
  });
  sources.OfferText("firmware-progress", [this] { return std::to_string(Progress()); });
  sources.OfferTable("firmware-image", {{"Model", "Version", "Bytes", "Sha256"},
                                        [this](const Question&) { return WaitingImage(); }});
  sources.OfferAction("firmware-update", [this](const ActionRequest& request) {
    if (request.Value() == "check") return Check();
    return request.Value() == "install" ? Install() : Drop();
  });
}
