// SPDX-License-Identifier: MIT
//
// Files are put in place by rename() only, after their content has been verified.
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

// The share of writing in the whole progress, in percent; the rest is reading back.
constexpr unsigned kWritingShare = 80;

// Reads from `offset` on until `bytes` is full. Returns false at the end of the file and on an
// error.
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
  FirmwareVerifier verifier;  // of the bytes read back from the disk
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
  const Outcome outcome = VerifyFirmware(file.descriptor.Number(), model_, image);
  if (!outcome.IsSuccess())
    Log::Write("'" + Path(name) + "' is not used: " + outcome.Record(), Log::Priority::kError);
  return outcome.IsSuccess();
}

void FirmwareUpdate::Forget() {
  unlink(Path(kWaiting).c_str());
  waiting_ = FirmwareImage();
  fault_.clear();
}

// Verifies the image while copying, and stops copying when it proves to be faulty.
Outcome FirmwareUpdate::CopyUpload(int upload, FirmwareImage& image) const {
  NewFile file(Path(kWaiting));
  FirmwareVerifier verifier(model_);
  std::vector<char> block(kBlockBytes);
  for (;;) {
    const ssize_t count = ReadSome(upload, block.data(), block.size());
    if (count < 0) return Sentence::kUploadNotReadable;
    const std::string_view bytes(block.data(), static_cast<std::size_t>(count));
    if (count == 0 || !verifier.Take(bytes)) break;
    Outcome written = file.Write(bytes);
    if (!written.IsSuccess()) return written;
  }
  Outcome outcome = verifier.Finish(image);
  return outcome.IsSuccess() ? file.Commit() : outcome;
}

Outcome FirmwareUpdate::Check() {
  if (IsInstalling()) return Sentence::kInstalling;
  fault_.clear();
  const UploadedFile::Opened upload = upload_.Open();
  upload_.Delete(upload);
  if (!upload.outcome.IsSuccess()) return upload.outcome;
  DropWaiting();
  FirmwareImage image;
  Outcome outcome = CopyUpload(upload.file.Number(), image);
  if (!outcome.IsSuccess()) {
    unlink(Path(kWaiting).c_str());
    fault_ = outcome.Name();
    log_.Add("Firmware image refused: " + outcome.Text());
    return outcome;
  }
  waiting_ = image;
  state_ = State::kChecked;
  log_.Add("Firmware image checked: version " + image.version + ".");
  return {};
}

Outcome FirmwareUpdate::Install() {
  if (IsInstalling()) return Sentence::kInstalling;
  if (waiting_.bytes == 0) {
    Outcome checked = Check();
    if (!checked.IsSuccess()) return checked;
  }
  auto installation = std::make_unique<Installation>(Path(kWaiting), Path(kInstalled), model_);
  if (!runner_ || !installation->source.IsOpen()) return Sentence::kNotInstalled;
  runner_([this] { return Step(); });
  installation_ = std::move(installation);
  state_ = State::kInstalling;
  log_.Add("Firmware installation began: version " + waiting_.version + ".");
  return {};
}

Outcome FirmwareUpdate::Drop() {
  if (IsInstalling()) return Sentence::kInstalling;
  DropWaiting();
  return {};
}

void FirmwareUpdate::DropWaiting() {
  Forget();
  state_ = needsRestart_ ? State::kInstalled : State::kIdle;
}

bool FirmwareUpdate::Step() {
  if (!IsInstalling()) return false;
  const Outcome outcome = TryStep();
  if (outcome.IsSuccess() && installation_->verified < waiting_.bytes) return true;
  installation_.reset();
  if (outcome.IsSuccess()) {
    needsRestart_ = true;
    installedVersion_ = waiting_.version;
    log_.Add("Firmware installed: version " + waiting_.version + " runs after a restart.");
    state_ = State::kInstalled;
    Forget();
  } else {
    state_ = State::kFailed;
    log_.Add("Firmware installation failed: " + outcome.Text());
  }
  return false;
}

Outcome FirmwareUpdate::TryStep() {
  try {
    return StepOn();
  } catch (const std::exception& error) {
    Log::Write("a step of the installation failed: " + std::string(error.what()),
               Log::Priority::kError);
    return Sentence::kNotInstalled;
  }
}

// Writes or reads back the next part; after the last part, makes the image the installed one.
Outcome FirmwareUpdate::StepOn() {
  Installation& now = *installation_;
  const std::size_t whole = waiting_.bytes;
  const bool writing = now.written < whole;
  std::size_t& done = writing ? now.written : now.verified;
  const std::size_t steps = writing ? kWritingSteps : kReadingSteps;
  std::vector<char> bytes(std::min(whole - done, (whole + steps - 1) / steps));
  if (!ReadAt(writing ? now.source.Number() : now.file.Number(), done, bytes)) {
    return Sentence::kImageNotReadable;
  }
  const std::string_view part(bytes.data(), bytes.size());
  done += part.size();
  if (writing) {
    Outcome written = now.file.Write(part);
    return written.IsSuccess() && done == whole ? now.file.Sync() : written;
  }
  now.verifier.Take(part);
  return done == whole ? FinishInstallation() : Outcome();
}

Outcome FirmwareUpdate::FinishInstallation() {
  FirmwareImage image;
  const bool isRight = installation_->verifier.Finish(image).IsSuccess();
  if (!isRight || image.sha256 != waiting_.sha256) return Sentence::kImageCameBackDamaged;
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
  sources.OfferText("firmware-fault", [this] { return fault_; });
  sources.OfferTable("firmware-image", {{"Model", "Version", "Bytes", "Sha256"},
                                        [this](const Question&) { return WaitingImage(); }});
  sources.OfferQuickAction("firmware-update", [this](const ActionRequest& request) {
    if (request.Value() == "check") return Check();
    return request.Value() == "install" ? Install() : Drop();
  });
}
