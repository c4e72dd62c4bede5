// SPDX-License-Identifier: MIT
//
// Events that a test can't cause from outside: a file replaced between two steps, an end at each
// step, and what one part leaves to another.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "sysmgr/clock/Zones.h"
#include "sysmgr/configuration/ConfigurationCipher.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/LocalClock.h"
#include "sysmgr/device/Recording.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/firmware/FirmwareUpdate.h"
#include "tests/TestFolder.h"

namespace fs = std::filesystem;

namespace {

// Seconds before and after a change, rules of each form, and what names the changes one by one.
TEST(Zones, ChangeOffsetsInTime) {
  const struct {
    const char* zone;
    std::int64_t time;
    const char* local;
  } kRows[] = {
      {"Europe/Berlin", 1774745999, "2026-03-29 01:59:59+01:00"},
      {"Europe/Berlin", 1774746000, "2026-03-29 03:00:00+02:00"},
      {"Europe/Berlin", 1792889999, "2026-10-25 02:59:59+02:00"},
      {"Europe/Berlin", 1792890000, "2026-10-25 02:00:00+01:00"},
      {"Australia/Sydney", 1775318399, "2026-04-05 02:59:59+11:00"},
      {"Australia/Sydney", 1775318400, "2026-04-05 02:00:00+10:00"},
      {"Australia/Sydney", 1798761600, "2027-01-01 11:00:00+11:00"},
      {"Europe/Dublin", 1798761600, "2027-01-01 00:00:00+00:00"},
      {"America/St_Johns", 1795428000, "2026-11-23 06:30:00-03:30"},
      {"Asia/Kathmandu", 1795428000, "2026-11-23 15:45:00+05:45"},
      {"Africa/Casablanca", 1771120799, "2026-02-15 02:59:59+01:00"},
      {"Africa/Casablanca", 1771120800, "2026-02-15 02:00:00+00:00"},
      {"UTC", 0, "1970-01-01 00:00:00+00:00"},
      {"Europe/Atlantis", 0, "1970-01-01 00:00:00+00:00"},
  };
  for (const auto& row : kRows) {
    const Zones::LocalTime local = Zones::At(row.zone, row.time);
    EXPECT_EQ(local.date + " " + local.time + local.offset, row.local) << row.zone;
  }
  EXPECT_EQ(Zones::Find("Europe/Atlantis"), nullptr);
  EXPECT_EQ(Zones::Find("europe/berlin"), nullptr);
}

TEST(EventLog, KeepsTheLast) {
  std::int64_t now = 1795428000;
  const LocalClock clock([] { return "UTC"; }, [&now] { return now++; });
  EventLog log(clock);
  for (std::size_t i = 0; i < EventLog::kMaxEvents + 5; ++i) log.AddTold(std::to_string(i), "");
  const LiveRows rows = log.Events();
  ASSERT_EQ(rows->size(), EventLog::kMaxEvents);
  const std::string time = "2026-11-23 10:01:44";
  EXPECT_EQ(rows->front(),
            LiveRow({time, "104", "1", time, "+00:00", "104", "", "2026", "11", "23", "10:01"}));
  EXPECT_EQ(rows->back()[1], "5");
  log.AddTold("a\nb\x9B" + std::string(1000, 'c') + ":", "d\n");
  EXPECT_EQ(log.Events()->front()[1], "a?b?" + std::string(396, 'c') + " d?.");
  EXPECT_EQ(rows->front()[1], "104");
  log.AddChanges(std::vector<std::string>(12, "A.B"));
  EXPECT_EQ(log.Events()->front()[1], "As many further settings were changed: 2.");
  EXPECT_EQ((*log.Events())[10][1], "This setting was changed: A.B.");
  EXPECT_EQ((*log.Events())[11][5].size(), EventLog::kMaxTextBytes);
}

// Five minutes at 10 and 20, a gap, and a row that goes and comes back.
TEST(Recording, ADayOfEachRow) {
  const std::vector<std::string> names = {"Name", "Speed", "Mac"};
  Recording recording({"", "Mac", {"Name"}, {"Speed"}, "", {}});
  const std::int64_t begin = 300000;  // the border of a step
  const auto add = [&](std::int64_t at, const std::vector<LiveRow>& rows) {
    recording.Add(begin + at, names, rows);
  };
  add(0, {{"one", "10", "a"}, {"two", "0", "b"}, {"none", "1", ""}});
  add(60, {{"one", "21 Mbit/s", "a"}, {"two", "", "b"}});
  add(300, {{"uno", "99999", "a"}});
  add(420, {{"uno", "15", "a"}});
  add(1200, {{"uno", "7", "a"}, {"two", "3", "b"}});
  EXPECT_EQ(
      recording.Rows(begin + 1320),
      (std::vector<LiveRow>{{"a", "uno", "1", "", "", "22", "240", "M43,-16H44V-32775H45M47,-7H48",
                             "M283,-16H284V-32775H285M287,-7H288", "7", "10933", "32775"},
                            {"b", "two", "1", "2", "15", "22", "240", "M43,-0H44M47,-3H48",
                             "M283,-0H284M287,-3H288", "0", "2", "3"}}));
  // After four hours, a trend has half-hours.
  for (std::int64_t at = 1500; at <= 18000; at += 300)
    add(at, {{"uno", at < 9000 ? "8" : "9", "a"}});
  const std::vector<LiveRow> later = recording.Rows(begin + 18000);
  EXPECT_EQ(LiveRow(later[1].begin(), later[1].begin() + 7),
            LiveRow({"b", "two", "0", "0", "275", "300", "1440"}));
  EXPECT_EQ(later[0][6], "1440");
  EXPECT_EQ(later[0][7], "M37,-16H38V-8200H39V-8H43V-9H48");
  // Nothing is older than a day, also when nothing was recorded meanwhile.
  add(18000 + 86400 * 3, {{"uno", "5", "a"}});
  EXPECT_EQ(recording.Rows(begin + 18000 + 86400 * 3),
            (std::vector<LiveRow>{{"a", "uno", "1", "", "", "1440", "1440", "M47,-5H48",
                                   "M287,-5H288", "5", "5", "5"}}));
}

// Whoever is away makes room; nobody else does.
TEST(Recording, IsBounded) {
  Recording recording({"", "Mac", {}, {"Mac"}, "", {}});
  std::vector<LiveRow> rows;
  for (std::size_t i = 0; i < Recording::kMaxRows; ++i) rows.push_back({std::to_string(i)});
  recording.Add(5, {"Mac"}, rows);
  rows.push_back({"more"});
  recording.Add(6, {"Mac"}, rows);
  EXPECT_EQ(recording.Rows(6).size(), Recording::kMaxRows);
  EXPECT_EQ(recording.Rows(6).back()[0], "63");
  rows.erase(rows.begin());
  recording.Add(7, {"Mac"}, rows);
  recording.Add(8, {"Mac"}, rows);
  EXPECT_EQ(recording.Rows(8).size(), Recording::kMaxRows);
  EXPECT_EQ(recording.Rows(8).front()[0], "1");
  EXPECT_EQ(recording.Rows(8).back()[0], "more");
}

TEST(UploadedFile, TheOneThatWasOpenedGoes) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string path = folder.Write("upload", "older");
  UploadedFile upload(path);
  const UploadedFile::Opened older = upload.Open();
  fs::rename(folder.Write("newer", "newer"), path);
  upload.Delete(older);
  EXPECT_EQ(ReadFile(path), "newer");
  // A file that no action takes is removed too; the time of a newer file begins anew.
  std::int64_t now = 5;
  const auto wait = [&](std::int64_t seconds) {
    upload.DeleteOld(now += seconds);
    return fs::exists(path);
  };
  EXPECT_TRUE(wait(10000));
  EXPECT_TRUE(wait(UploadedFile::kMaxAgeSeconds - 1));
  fs::last_write_time(path, fs::file_time_type());
  EXPECT_TRUE(wait(1));
  EXPECT_FALSE(wait(UploadedFile::kMaxAgeSeconds));
}

// The service forgets the key whenever the password changes; the cipher does not rely on that.
TEST(ConfigurationCipher, SealsWithTheGivenPassword) {
  ConfigurationCipher cipher;
  std::string file;
  Secret plain;
  for (const char* password : {"one password", "another password"}) {
    ASSERT_TRUE(cipher.Seal("plain", password, file).IsSuccess());
    EXPECT_TRUE(ConfigurationCipher::Open(file, password, plain).IsSuccess()) << password;
  }
}

// A device that can be started repeatedly with the same folder, and runs one step at a time.
class FirmwareUpdateTest : public testing::Test {
 protected:
  void Start() {
    update_.emplace(folder_.Path(), upload_, FirmwareTrust{"Vistel", {}, true}, log_);
    update_->RunStepsWith([this](std::function<bool()> step) { step_ = std::move(step); });
  }

  // 400 bytes, so that all steps write the same number.
  static std::string Image(const char* version, const char* digits) {
    return "VISTEL-FIRMWARE 1\nModel: Vistel\nVersion: " + std::string(version) +
           "\nLength: 268\nSHA-256: " + digits + "\n\n" + std::string(268, 'x');
  }

  TestFolder folder_{"/tmp/vistel-sysmgr"};
  const std::string installed_ = folder_.Path("firmware-installed.img");
  const std::string old_ =
      Image("1.0", "5741dcb82ff9626eea7489d4e926aa5a9919ef8e522cff0521a408dcb8f632e2");
  const std::string new_ =
      Image("2.0", "5d53722149642c1c6a971a175264131ab359393e4f6b0cdb6f95f58a605aac97");
  UploadedFile upload_{folder_.Path("upload")};
  LocalClock clock_{[] { return "UTC"; }, [] { return 0; }};
  EventLog log_{clock_};
  std::optional<FirmwareUpdate> update_;
  std::function<bool()> step_;
};

// The process ends between two steps or within one; the file then holds what the step has written.
TEST_F(FirmwareUpdateTest, EndedAtEveryStep) {
  bool finished = false;
  unsigned steps = 0;
  for (; !finished; ++steps) {
    folder_.Write("firmware-installed.img", old_);
    Start();
    folder_.Write("upload", new_);
    update_->Install(false, [](const Outcome& begun) { ASSERT_TRUE(begun.IsSuccess()); });
    for (unsigned step = 0; step < steps && !finished; ++step) finished = !step_();
    // A crash runs no destructor, so the unfinished file stays.
    const std::string half = ReadFile(installed_ + ".new");
    EXPECT_EQ(fs::exists(installed_ + ".new"), !finished);
    EXPECT_EQ(ReadFile(installed_), finished ? new_ : old_) << steps;
    update_.reset();
    if (!finished) folder_.Write("firmware-installed.img.new", half);
    Start();
    EXPECT_EQ(update_->RunningVersion(), finished ? "2.0" : "1.0") << steps;
    EXPECT_FALSE(fs::exists(installed_ + ".new"));
  }
  EXPECT_EQ(steps, FirmwareUpdate::kWritingSteps + FirmwareUpdate::kReadingSteps + 1);
}

// The bytes read back from the disk are not those that were checked.
TEST_F(FirmwareUpdateTest, ExchangedMeanwhile) {
  for (const std::string& other : {old_, new_.substr(0, new_.size() - 1) + "y"}) {
    Start();
    folder_.Write("upload", new_);
    update_->Install(true, [](const Outcome& begun) { ASSERT_TRUE(begun.IsSuccess()); });
    folder_.Write("firmware-waiting.img", other);
    while (step_()) {
    }
    EXPECT_FALSE(fs::exists(installed_) || fs::exists(installed_ + ".new"));
    Sources sources;
    update_->OfferTo(sources);
    const Config::Key::Key key("a");
    EXPECT_EQ(sources.FindValue("firmware-state")->value({key, ""}).text, "failed");
  }
}

}  // namespace
