// SPDX-License-Identifier: MIT
//
// The way of a firmware image into the device, ended at every step.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "tests/sysmgr/DeviceTest.h"
#include "tests/sysmgr/FirmwareImages.h"
#include "tests/sysmgr/Service.h"

namespace {

// A device that can be started again and again over the same folder, and does one step when told.
class FirmwareUpdateTest : public DeviceTest {
 protected:
  FirmwareUpdateTest() { Start(); }

  void Start() {
    process_.emplace(*this);
    process_->features.RunStepsWith(
        [this](std::function<bool()> step) { step_ = std::move(step); });
  }

  void Upload(const std::string& bytes) const { folder_.Write("upload.bin", bytes); }
  std::string Do(const std::string& what) { return Set("System.FirmwareUpdate=" + what); }
  bool Exists(const char* name) const { return access(folder_.Path(name).c_str(), F_OK) == 0; }

  // State, progress, running version and the waiting image's version.
  std::string Look() {
    return Get(
        "System.FirmwareState;System.FirmwareProgress;System.Firmware;"
        "System.FirmwareImage{Model=Vistel}.Version");
  }

  std::function<bool()> step_;
};

TEST_F(FirmwareUpdateTest, FromUploadToRunning) {
  const std::string image = RightImage("2.4.0", std::string(100000, 'x'));
  const std::string kNoImage = "This file is no firmware image.";
  Expect(R"(
      System.FirmwareState;System.FirmwareProgress;System.Firmware => idle|0|2.3.1-02
      set System.FirmwareUpdate=check => No file has been uploaded.
      set System.FirmwareUpdate=install => No file has been uploaded.
      )");
  Upload("nonsense");
  EXPECT_EQ(Do("install"), kNoImage);
  EXPECT_FALSE(Exists("upload.bin"));
  Upload(image);
  EXPECT_EQ(Do("check"), "");
  EXPECT_FALSE(Exists("upload.bin"));
  EXPECT_EQ(Look(), "checked|0|2.3.1-02|2.4.0");
  Start();
  EXPECT_EQ(Look(), "checked|0|2.3.1-02|2.4.0");
  EXPECT_EQ(Do("install"), "");
  EXPECT_EQ(Look(), "installing|0|2.3.1-02|2.4.0");
  for (const char* what : {"check", "install", "drop"}) {
    EXPECT_EQ(Do(what), "A firmware image is being installed.");
  }
  unsigned steps = 1;
  for (int before = 0; step_(); ++steps) {
    const int progress = std::stoi(Get("System.FirmwareProgress"));
    EXPECT_TRUE(before < progress && progress < 100) << progress;
    before = progress;
  }
  EXPECT_EQ(steps, FirmwareUpdate::kWritingSteps + FirmwareUpdate::kReadingSteps);
  EXPECT_EQ(Look(), "installed|100|2.3.1-02|");
  Upload("nonsense");
  EXPECT_EQ(Do("check"), kNoImage);
  EXPECT_EQ(Look(), "installed|100|2.3.1-02|");
  EXPECT_EQ(Set("System.Restart=1"), "");
  EXPECT_EQ(Look(), "idle|0|2.4.0|");
  Start();
  EXPECT_EQ(Look(), "idle|0|2.4.0|");
  Upload(image);
  EXPECT_EQ(Do("check"), "");
  EXPECT_EQ(Do("drop"), "");
  EXPECT_EQ(Look(), "idle|0|2.4.0|");
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
    Upload(image);
    ASSERT_EQ(Do("install"), "");
    for (unsigned step = 0; step < ended && !finished; ++step) finished = !step_();
    // A crash runs no destructor: the leftover is what stays.
    const bool left = Exists("firmware-installed.img.new");
    const std::string half = ReadFile(folder_.Path("firmware-installed.img.new"));
    EXPECT_EQ(left, !finished);
    EXPECT_EQ(ReadFile(folder_.Path("firmware-installed.img")), finished ? image : old) << ended;
    process_.reset();
    if (left) folder_.Write("firmware-installed.img.new", half);
    Start();
    EXPECT_EQ(Get("System.Firmware"), finished ? "2.0" : "1.0") << ended;
    EXPECT_FALSE(Exists("firmware-installed.img.new"));
  }
}

TEST_F(FirmwareUpdateTest, Failures) {
  const std::string image = RightImage("2.0", std::string(100000, 'x'));
  Upload(image);
  ASSERT_EQ(Do("install"), "");
  // What waits is changed behind our back: what comes back from the disk is wrong.
  std::string damaged = image;
  damaged.back() = 'y';
  folder_.Write("firmware-waiting.img", damaged);
  while (step_()) {
  }
  EXPECT_EQ(Look(), "failed|0|2.3.1-02|2.0");
  EXPECT_FALSE(Exists("firmware-installed.img"));
  EXPECT_FALSE(Exists("firmware-installed.img.new"));
  // Damaged images are not used by the next start.
  folder_.Write("firmware-installed.img", damaged);
  Start();
  EXPECT_EQ(Look(), "idle|0|2.3.1-02|");
  EXPECT_FALSE(Exists("firmware-waiting.img"));
  ASSERT_EQ(mkfifo(folder_.Path("firmware-waiting.img").c_str(), 0600), 0);
  Start();
  EXPECT_EQ(Look(), "idle|0|2.3.1-02|");
  Upload(image);
  EXPECT_EQ(WithFileLimit(50000, [this] { return Do("check"); }),
            "This could not be stored: the storage is full.");
  EXPECT_EQ(Look(), "idle|0|2.3.1-02|");
  EXPECT_FALSE(Exists("firmware-waiting.img.new"));
}

Pace StepsOf(int milliseconds) {
  return {Server::kDeadlineMilliseconds, milliseconds};
}

// Nothing else happens to the device while an image is installed, and others are answered.
TEST(FirmwareService, KilledAndDone) {
  const std::string payload(6000000, 'x');
  ServiceSetup setup;
  setup.pace = StepsOf(200);
  Service service(setup);
  service.Write("upload.bin", RightImage("9", payload));
  service.Expect(
      "set System.DeviceName=kept => \n set System.FirmwareUpdate=check => \n"
      "System.FirmwareImage => Vistel|9|6000134|" +
      Hash("VISTEL-FIRMWARE 1\nModel: Vistel\nVersion: 9\nLength: 6000000\n\n" + payload) + R"(
      set System.FirmwareUpdate=install =>
      set System.Restart=1 => A firmware image is being installed.
      set System.FactoryReset=1 => A firmware image is being installed.
      System.FirmwareState;System.Firmware;System.DeviceName => installing|2.3.1-02|kept
      )");
  EXPECT_TRUE(Eventually([&service] { return service.Get("System.FirmwareProgress") > "0"; }));
  EXPECT_EQ(service.End(SIGKILL), "signal 9");
  service.Start(StepsOf(1));
  service.Expect(R"(
      System.FirmwareState;System.Firmware => checked|2.3.1-02
      set HomePlug.AddStation=ABCD-EFGH-IJKL-MNOP =>
      set System.FirmwareUpdate=install =>
      )");
  EXPECT_TRUE(
      Eventually([&service] { return service.Get("System.FirmwareState") == "installed"; }));
  service.Expect(R"(
      System.Firmware => 2.3.1-02
      set System.Restart=1 =>
      System.FirmwareState;System.Firmware => idle|9
      )");
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  service.Start();
  service.Expect(R"(
      System.Firmware;System.DeviceName;HomePlug.Stations{Name=Garage}.Role => 9|kept|remote
      set System.FactoryReset=1 =>
      System.Firmware;System.DeviceName;HomePlug.Stations{Name=Garage}.Role => 9|Vistel|
      )");
}

// The image that runs is the last one whose installation ended or the one of before, never another.
TEST(FirmwareService, KilledAtAnyMoment) {
  ServiceSetup setup;
  setup.pace = Pace{Server::kDeadlineMilliseconds, 1};
  Service service(setup);
  std::string before = "2.3.1-02";
  int version = 100;
  KillAtAnyMoment(
      service,
      [&] {
        service.Write("upload.bin",
                      RightImage(std::to_string(++version), std::string(500000, 'x')));
        service.Set("System.FirmwareUpdate=install");
        while (service.Get("System.Firmware")[0] != '[') {
        }
      },
      [&] {
        const std::string now = service.Get("System.Firmware");
        EXPECT_TRUE(now == before || now == std::to_string(version)) << now;
        before = now;
      });
}

}  // namespace
