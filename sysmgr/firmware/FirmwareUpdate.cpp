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

// The share of writing in the whole progress, in percent; the rest is reading back.
constexpr unsigned kWritingShare = 80;

// Calls what may run beside the event loop, where nothing may be thrown.
template <typename Work>
Outcome Guard(Work work) {
  try {
    return work();
  } catch (const std::exception& error) {
    Log::Write("an image could not be worked on: " + std::string(error.what()),
               Log::Priority::kError);
    return Sentence::kNotInstalled;
  }
}

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
  Installation(const std::string& from, const std::string& to, const FirmwareTrust& trust)
      : source(OpenRegularFile(from, O_NOFOLLOW).descriptor), file(to), verifier(trust) {}

  Descriptor source;
  NewFile file;
  std::size_t written = 0;
  std::size_t verified = 0;
  FirmwareVerifier verifier;  // of the bytes read back from the disk

  // Of the loop's thread: what is above belongs to the step while there is one.
  std::size_t progress = 0;  // percent
  bool isStepping = false;
};

FirmwareUpdate::FirmwareUpdate(std::string folder, const UploadedFile& upload, FirmwareTrust trust,
                               EventLog& log)
    : folder_(std::move(folder)),
      upload_(upload),
      trust_(std::move(trust)),
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
  const Outcome outcome = VerifyFirmware(file.descriptor.Number(), trust_, image);
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
  FirmwareVerifier verifier(trust_);
  std::vector<char> block(FirmwareImage::kBlockBytes);
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

Outcome FirmwareUpdate::Readiness() const {
  if (isChecking_) return Sentence::kDeviceBusy;
  return IsInstalling() ? Sentence::kInstalling : Outcome();
}

void FirmwareUpdate::Check(const OutcomeTaker& done) {
  struct Copy {
    UploadedFile::Opened upload;
    FirmwareImage image;
    Outcome outcome = {};
  };
  const Outcome ready = Readiness();
  if (!ready.IsSuccess()) return done(ready);
  fault_.clear();
  const auto copy = std::make_shared<Copy>(Copy{upload_.Open(), {}});
  upload_.Delete(copy->upload);
  if (!copy->upload.outcome.IsSuccess()) return done(copy->upload.outcome);
  DropWaiting();
  isChecking_ = true;
  disk_(
      [this, copy] {
        copy->outcome = Guard([&] { return CopyUpload(copy->upload.file.Number(), copy->image); });
      },
      [this, copy, done] { done(TakeImage(copy->outcome, copy->image)); });
}

Outcome FirmwareUpdate::TakeImage(const Outcome& copied, const FirmwareImage& image) {
  isChecking_ = false;
  if (!copied.IsSuccess()) {
    unlink(Path(kWaiting).c_str());
    fault_ = copied.Name();
    log_.Add(Sentence::kEventImageRefused, copied.Text());
    return copied;
  }
  waiting_ = image;
  state_ = State::kChecked;
  log_.Add(Sentence::kEventImageChecked, image.version);
  return {};
}

void FirmwareUpdate::Install(bool evenOlder, const OutcomeTaker& done) {
  const Outcome ready = Readiness();
  if (!ready.IsSuccess()) return done(ready);
  if (waiting_.bytes > 0) return done(Begin(evenOlder));
  Check([this, evenOlder, done](const Outcome& checked) {
    done(checked.IsSuccess() ? Begin(evenOlder) : checked);
  });
}

bool FirmwareUpdate::IsOlder() const {
  return waiting_.bytes > 0 && IsOlderVersion(waiting_.version, installedVersion_);
}

Outcome FirmwareUpdate::Begin(bool evenOlder) {
  if (IsOlder() && !evenOlder) return Sentence::kOlderFirmware;
  auto installation = std::make_unique<Installation>(Path(kWaiting), Path(kInstalled), trust_);
  if (!runner_ || !installation->source.IsOpen()) return Sentence::kNotInstalled;
  runner_([this] { return Step(); });
  installation_ = std::move(installation);
  state_ = State::kInstalling;
  log_.Add(Sentence::kEventInstalling, waiting_.version);
  return {};
}

Outcome FirmwareUpdate::Drop() {
  Outcome ready = Readiness();
  if (!ready.IsSuccess()) return ready;
  DropWaiting();
  return {};
}

void FirmwareUpdate::DropWaiting() {
  Forget();
  state_ = needsRestart_ ? State::kInstalled : State::kIdle;
}

bool FirmwareUpdate::Step() {
  if (!IsInstalling()) return false;
  if (installation_->isStepping) return true;  // the disk takes longer
  installation_->isStepping = true;
  const auto outcome = std::make_shared<Outcome>();
  disk_([this, outcome] { *outcome = Guard([this] { return StepOn(); }); },
        [this, outcome] { FinishStep(*outcome); });
  return IsInstalling();
}

void FirmwareUpdate::FinishStep(const Outcome& outcome) {
  Installation& now = *installation_;
  now.isStepping = false;
  now.progress =
      (kWritingShare * now.written + (100 - kWritingShare) * now.verified) / waiting_.bytes;
  if (outcome.IsSuccess() && now.verified < waiting_.bytes) return;
  installation_.reset();
  if (outcome.IsSuccess()) {
    needsRestart_ = true;
    installedVersion_ = waiting_.version;
    log_.Add(Sentence::kEventInstalled, waiting_.version);
    state_ = State::kInstalled;
    Forget();
    if (runsAtOnce_ && onInstalled_) onInstalled_();
  } else {
    state_ = State::kFailed;
    log_.Add(Sentence::kEventNotInstalled, outcome.Text());
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
  return static_cast<unsigned>(installation_->progress);
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
  sources.OfferText("firmware-older", [this] { return IsOlder() ? "1" : "0"; });
  sources.OfferTable("firmware-image", {{"Model", "Version", "Bytes", "Sha256"},
                                        [this](const Question&) { return WaitingImage(); }});
  sources.OfferAction("firmware-update",
                      [this](const ActionRequest& request, const OutcomeTaker& done) {
                        if (request.Value() == "check") return Check(done);
                        if (request.Value() == "install") {
                          const bool runsAtOnce = request.Parameter("Restart") == "1";
                          return Install(request.Parameter("Older") == "1",
                                         [this, runsAtOnce, done](const Outcome& begun) {
                                           if (begun.IsSuccess()) runsAtOnce_ = runsAtOnce;
                                           done(begun);
                                         });
                        }
                        done(Drop());
                      });
}
