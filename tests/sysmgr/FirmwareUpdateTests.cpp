// SPDX-License-Identifier: MIT
//
// The way of a firmware image into the device, ended at every step.
#include "sysmgr/firmware/FirmwareUpdate.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tests/TestFolder.h"
#include "tests/sysmgr/FirmwareImages.h"
#include "tests/sysmgr/Service.h"

namespace {

constexpr const char* kModel = "Vistel";
constexpr const char* kNoImage = "This file is no firmware image.";

// A device that can be started again and again over the same folder, and does one step when told.
class FirmwareUpdateTest : public testing::Test {
 protected:
  FirmwareUpdateTest()
      : folder_("/tmp/vistel-sysmgr"), upload_(folder_.Path() + "/upload"), log_([] { return 0; }) {
    Start();
  }

  void Start() {
    update_ = std::make_unique<FirmwareUpdate>(folder_.Path(), upload_, kModel, log_);
    update_->RunStepsWith([this](std::function<bool()> step) { step_ = std::move(step); });
    sources_ = std::make_unique<Sources>();
    update_->OfferTo(*sources_);
  }

  void Upload(const std::string& bytes) const { folder_.Write("upload", bytes); }

  bool Exists(const char* name) const {
    return access((folder_.Path() + "/" + name).c_str(), F_OK) == 0;
  }

  std::string Bytes(const char* name) const { return ReadFile(folder_.Path(name)); }

  std::string Value(const char* source) const {
    const Config::Key::Key key(source);
    return sources_->FindValue(source)->value({key, "tester"}).text;
  }

  // State, progress, running version and the waiting image's version.
  std::string Look() const {
    const Config::Key::Key key("a");
    const LiveRows rows = sources_->FindTable("firmware-image")->rows({key, "tester"});
    return Value("firmware-state") + " " + Value("firmware-progress") + " " + Value("firmware") +
           " " + (rows->empty() ? "-" : rows->front()[1]);
  }

  TestFolder folder_;
  UploadedFile upload_;
  EventLog log_;
  std::unique_ptr<FirmwareUpdate> update_;
  std::unique_ptr<Sources> sources_;
  std::function<bool()> step_;
};

TEST_F(FirmwareUpdateTest, FromUploadToRunning) {
  const std::string image = RightImage("2.4.0", std::string(100000, 'x'));
  EXPECT_EQ(Look(), "idle 0 2.3.1-02 -");
  EXPECT_EQ(update_->Check().Text(), "No file has been uploaded.");
  EXPECT_EQ(update_->Install().Text(), "No file has been uploaded.");
  Upload("nonsense");
  EXPECT_EQ(update_->Install().Text(), kNoImage);
  EXPECT_FALSE(Exists("upload"));
  Upload(image);
  EXPECT_EQ(update_->Check().Text(), "");
  EXPECT_FALSE(Exists("upload"));
  EXPECT_EQ(Look(), "checked 0 2.3.1-02 2.4.0");
  Start();
  EXPECT_EQ(Look(), "checked 0 2.3.1-02 2.4.0");
  EXPECT_EQ(update_->Install().Text(), "");
  EXPECT_EQ(Look(), "installing 0 2.3.1-02 2.4.0");
  const std::string kBusy = "A firmware image is being installed.";
  EXPECT_EQ(update_->Check().Text(), kBusy);
  EXPECT_EQ(update_->Install().Text(), kBusy);
  EXPECT_EQ(update_->Drop().Text(), kBusy);
  unsigned steps = 1;
  int before = 0;
  for (; step_(); ++steps) {
    const int progress = std::atoi(Value("firmware-progress").c_str());
    EXPECT_GT(progress, before);
    EXPECT_LT(progress, 100);
    before = progress;
  }
  EXPECT_EQ(steps, FirmwareUpdate::kWritingSteps + FirmwareUpdate::kReadingSteps);
  EXPECT_EQ(Look(), "installed 100 2.3.1-02 -");
  Upload("nonsense");
  EXPECT_EQ(update_->Check().Text(), kNoImage);
  EXPECT_EQ(Look(), "installed 100 2.3.1-02 -");
  update_->Restart();
  EXPECT_EQ(Look(), "idle 0 2.4.0 -");
  Start();
  EXPECT_EQ(Look(), "idle 0 2.4.0 -");
  Upload(image);
  EXPECT_EQ(update_->Check().Text(), "");
  EXPECT_EQ(update_->Drop().Text(), "");
  EXPECT_EQ(Look(), "idle 0 2.4.0 -");
  EXPECT_FALSE(Exists("firmware-waiting.img"));
}

// The process ends between two steps, or within one: what a step has written so far is in the file.
TEST_F(FirmwareUpdateTest, EndedAtEveryStep) {
  const std::string old = RightImage("1.0", "old");
  const std::string image = RightImage("2.0", "payload of the new image");
  bool finished = false;
  for (unsigned ended = 0; !finished; ++ended) {
    folder_.Write("firmware-installed.img", old);
    Start();
    ASSERT_EQ(Value("firmware"), "1.0");
    Upload(image);
    ASSERT_TRUE(update_->Install().IsSuccess());
    for (unsigned step = 0; step < ended && !finished; ++step) finished = !step_();
    // A crash runs no destructor: the leftover is what stays.
    const bool left = Exists("firmware-installed.img.new");
    const std::string half = Bytes("firmware-installed.img.new");
    EXPECT_EQ(left, !finished);
    EXPECT_EQ(Bytes("firmware-installed.img"), finished ? image : old) << ended;
    update_.reset();
    if (left) folder_.Write("firmware-installed.img.new", half);
    Start();
    EXPECT_EQ(Value("firmware"), finished ? "2.0" : "1.0") << ended;
    EXPECT_FALSE(Exists("firmware-installed.img.new"));
  }
}

TEST_F(FirmwareUpdateTest, Failures) {
  const std::string image = RightImage("2.0", std::string(100000, 'x'));
  Upload(image);
  ASSERT_TRUE(update_->Install().IsSuccess());
  // What waits is changed behind our back: what comes back from the disk is wrong.
  std::string damaged = image;
  damaged.back() = 'y';
  folder_.Write("firmware-waiting.img", damaged);
  while (step_()) {
  }
  EXPECT_EQ(Look(), "failed 0 2.3.1-02 2.0");
  EXPECT_FALSE(Exists("firmware-installed.img"));
  EXPECT_FALSE(Exists("firmware-installed.img.new"));
  // Damaged images are not used by the next start.
  folder_.Write("firmware-installed.img", damaged);
  Start();
  EXPECT_EQ(Look(), "idle 0 2.3.1-02 -");
  EXPECT_FALSE(Exists("firmware-waiting.img"));
  const std::string pipe = folder_.Path() + "/firmware-waiting.img";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  Start();
  EXPECT_EQ(Look(), "idle 0 2.3.1-02 -");

  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small{50000, limit.rlim_max};
  Upload(image);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome outcome = update_->Check();
  setrlimit(RLIMIT_FSIZE, &limit);
  static_cast<void>(std::signal(SIGXFSZ, handler));
  EXPECT_EQ(outcome.Text(), "This could not be stored: the storage is full.");
  EXPECT_EQ(Look(), "idle 0 2.3.1-02 -");
  EXPECT_FALSE(Exists("firmware-waiting.img.new"));
}

TEST_F(FirmwareUpdateTest, UploadsThatAreNoneOfOurs) {
  const std::string upload = folder_.Path() + "/upload";
  const std::string kForeign = "The uploaded file cannot be read.";
  const std::string elsewhere = folder_.Write("elsewhere", RightImage("2.0", "x"));
  ASSERT_EQ(symlink(elsewhere.c_str(), upload.c_str()), 0);
  EXPECT_EQ(update_->Check().Text(), kForeign);
  ASSERT_NE(unlink(upload.c_str()), 0);

  ASSERT_EQ(mkfifo(upload.c_str(), 0600), 0);
  EXPECT_EQ(update_->Check().Text(), kForeign);
  ASSERT_NE(unlink(upload.c_str()), 0);
  ASSERT_EQ(mkdir(upload.c_str(), 0700), 0);
  EXPECT_EQ(update_->Check().Text(), kForeign);
  ASSERT_EQ(rmdir(upload.c_str()), 0);
  Upload(RightImage("2.0", "x"));
  if (chown(upload.c_str(), 65534, 65534) == 0) {
    EXPECT_EQ(update_->Check().Text(), kForeign);
  }
  EXPECT_TRUE(Exists("elsewhere"));
  EXPECT_EQ(Look(), "idle 0 2.3.1-02 -");
}

std::string Set(Client& client, const char* key, const char* value) {
  return Ask(client, SetRequest({{key, value}}));
}

// The finished service: nobody waits while an image is installed, and a kill in the middle of it
// leaves the old one.
TEST(FirmwareService, KilledAndDone) {
  using Clock = std::chrono::steady_clock;
  const std::string kLook = QueryRequest("System.FirmwareState;System.Firmware");
  const std::string kUpdate = "System.FirmwareUpdate";
  Service service;
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  {
    Client client(service.Socket());
    std::ofstream(service.Folder() + "/upload.bin") << RightImage("9", std::string(6000000, 'x'));
    EXPECT_EQ(Set(client, kUpdate.c_str(), "check"), "");
    EXPECT_EQ(Ask(client, QueryRequest("System.FirmwareImage")),
              "Vistel|9|6000134|" + Hash("VISTEL-FIRMWARE 1\nModel: Vistel\nVersion: 9\n"
                                         "Length: 6000000\n\n" +
                                         std::string(6000000, 'x')));
    EXPECT_EQ(Set(client, kUpdate.c_str(), "install"), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const std::string progress = Ask(client, QueryRequest("System.FirmwareProgress"));
    EXPECT_GT(std::atoi(progress.c_str()), 0);
    EXPECT_LT(std::atoi(progress.c_str()), 80);
    EXPECT_EQ(Set(client, "System.Restart", "1"), "A firmware image is being installed.");
    EXPECT_EQ(Set(client, "System.FactoryReset", "1"), "A firmware image is being installed.");
  }
  EXPECT_EQ(service.End(SIGKILL), "signal 9");
  service.Start();
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client client(service.Socket());
  EXPECT_EQ(Ask(client, kLook), "checked|2.3.1-02");
  EXPECT_EQ(Set(client, "HomePlug.AddStation", "ABCD-EFGH-IJKL-MNOP"), "");
  EXPECT_EQ(Set(client, kUpdate.c_str(), "install"), "");
  const Clock::time_point begin = Clock::now();
  Clock::duration longest{};
  std::string state = "installing|2.3.1-02";
  while (state == "installing|2.3.1-02" && Clock::now() < begin + std::chrono::seconds(60)) {
    const Clock::time_point asked = Clock::now();
    state = Ask(client, kLook);
    longest = std::max(longest, Clock::now() - asked);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(state, "installed|2.3.1-02");
  const auto milliseconds = [](Clock::duration time) {
    return static_cast<long long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
  };
  std::printf("installed in %lld ms, slowest answer meanwhile %lld ms\n",
              milliseconds(Clock::now() - begin), milliseconds(longest));
  EXPECT_GE(milliseconds(Clock::now() - begin), 4900);
  EXPECT_EQ(Set(client, "System.Restart", "1"), "");
  EXPECT_EQ(Ask(client, kLook), "idle|9");
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  service.Start();
  Client again(service.Socket());
  EXPECT_EQ(Ask(again, kLook), "idle|9");
  const std::string kGarage = QueryRequest("HomePlug.Stations{Name=Garage}.Role");
  EXPECT_EQ(Ask(again, kGarage), "remote");
  EXPECT_EQ(Set(again, "System.FactoryReset", "1"), "");
  EXPECT_EQ(Ask(again, kLook), "idle|9");
  EXPECT_EQ(Ask(again, kGarage), "");
}

}  // namespace
