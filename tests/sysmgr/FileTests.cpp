// SPDX-License-Identifier: MIT
//
// Files that the service hands over and those that it is handed: whose they are, how many there can
// be, and that no link is followed.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/files/UploadedFile.h"
#include "tests/sysmgr/DeviceTest.h"

namespace {

bool IsThere(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// The path; empty when there is no file.
std::string PathOfPut(HandoverFolder& folder, std::string_view suffix, std::string_view content) {
  std::string path;
  return folder.Put("a-", suffix, content, path).IsSuccess() ? path : "";
}

TEST(HandoverFolder, NumberAgeAndMode) {
  const TestFolder parent("/tmp/vistel-sysmgr");
  const std::string path = parent.Path("run/files");
  const std::string stale = parent.Write("run/files/stale", "x");
  ASSERT_EQ(chmod(path.c_str(), 0700), 0);
  std::int64_t now = 5;
  std::string last;
  {
    HandoverFolder folder(path, [&now] { return now; });
    EXPECT_FALSE(IsThere(stale));
    const std::string first = PathOfPut(folder, ".xml", "content");
    EXPECT_EQ(first.size(), (path + "/a-XXXXXX.xml").size());
    EXPECT_EQ(ReadFile(first), "content");
    struct stat status {};
    ASSERT_EQ(stat(first.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    now += HandoverFolder::kMaxAgeSeconds;
    const std::string second = PathOfPut(folder, "", "");
    EXPECT_TRUE(IsThere(first));
    now += 1;
    folder.RemoveOld();
    EXPECT_FALSE(IsThere(first));
    ASSERT_EQ(rename(path.c_str(), (path + ".gone").c_str()), 0);
    EXPECT_EQ(PathOfPut(folder, "", ""), "");
    ASSERT_EQ(rename((path + ".gone").c_str(), path.c_str()), 0);
    for (std::size_t i = 1; i < HandoverFolder::kMaxFiles; ++i)
      last = PathOfPut(folder, ".bin", "");
    now += HandoverFolder::kSafeSeconds - 2;
    EXPECT_EQ(PathOfPut(folder, ".bin", ""), "");
    // What has been fetched is in nobody's way.
    ASSERT_EQ(unlink(last.c_str()), 0);
    EXPECT_TRUE(IsThere(PathOfPut(folder, ".bin", "")));
    EXPECT_TRUE(IsThere(second));
    now += 1;
    last = PathOfPut(folder, ".bin", "");
    EXPECT_FALSE(IsThere(second));
    EXPECT_TRUE(IsThere(last));
  }
  EXPECT_FALSE(IsThere(last));
}

TEST(HandoverFolder, OnlyOnesOwn) {
  const TestFolder parent("/tmp/vistel-sysmgr");
  const std::string path = parent.Path("files");
  const auto expect = [&path](const std::string& fault) {
    const std::string found = FaultOf([&path] { HandoverFolder(path, [] { return 0; }); });
    EXPECT_NE(found.find(fault), std::string::npos) << found;
  };
  const std::string other = parent.Write("other/kept", "x");
  ASSERT_EQ(symlink("other", path.c_str()), 0);
  expect("can't be used");
  EXPECT_TRUE(IsThere(other));
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  for (const mode_t mode : {0710, 0701, 0770, 0755, 0700}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    expect(mode == 0700 ? "none" : "is too open");
  }
  if (chown(path.c_str(), 1, 1) == 0) expect("somebody else");
}

TEST(UploadedFile, OnlyARegularFileOfOnesOwn) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string path = folder.Path("upload.bin");
  const std::string target = folder.Write("target", "secret");
  const UploadedFile upload(path);
  const std::string kUnreadable = "The uploaded file cannot be read.";
  std::string content;
  const auto read = [&](std::size_t maxBytes = 5) {
    return UploadedFile::Read(upload.Open(), maxBytes, content).Text();
  };
  EXPECT_EQ(read(), "No file has been uploaded.");
  ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
  EXPECT_EQ(read(), kUnreadable);
  upload.Delete(upload.Open());
  EXPECT_TRUE(IsThere(target));
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(read(), kUnreadable);
  upload.Delete(upload.Open());
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  EXPECT_EQ(read(), kUnreadable);
  ASSERT_EQ(rmdir(path.c_str()), 0);
  folder.Write("upload.bin", "hello");
  EXPECT_EQ(read(4), "The uploaded file is too large.");
  EXPECT_EQ(read(5) + content, "hello");
  EXPECT_EQ(chown(path.c_str(), 1, 1) == 0 ? read() + content : kUnreadable, kUnreadable);
  // A newer one takes its place while it is read.
  const UploadedFile::Opened older = upload.Open();
  ASSERT_EQ(rename(folder.Write("newer", "newer").c_str(), path.c_str()), 0);
  upload.Delete(older);
  EXPECT_EQ(ReadFile(path), "newer");
  upload.Delete(upload.Open());
  EXPECT_FALSE(IsThere(path));
}

TEST_F(DeviceTest, UploadsThatNobodyActsOnGo) {
  const std::string path = folder_.Write("upload.bin", "secret");
  const auto wait = [&](std::int64_t seconds) {
    steady_ += seconds;
    process_->features.OnTimer();
    return IsThere(path);
  };
  EXPECT_TRUE(wait(10000));
  EXPECT_TRUE(wait(UploadedFile::kMaxAgeSeconds - 1));
  // Another one has its own time.
  std::filesystem::last_write_time(path, std::filesystem::file_time_type());
  EXPECT_TRUE(wait(1));
  EXPECT_FALSE(wait(UploadedFile::kMaxAgeSeconds));
  folder_.Write("upload.bin", "secret");
  EXPECT_EQ(Set("System.FactoryReset=1"), "");
  EXPECT_FALSE(IsThere(path));
}

TEST_F(DeviceTest, SnrFiles) {
  Powerline& powerline = process_->features.GetPowerline();
  const std::string kKey = "HomePlug.SNR{MacAddress=00:0b:3b:7f:01:03}:format=scalar";
  const std::string path = Get(kKey);
  EXPECT_EQ(path.find(folder_.Path("files/snr-")), 0U) << path;
  const Powerline::Decibels decibels = powerline.Snr(2, false, now_);
  EXPECT_EQ(ReadFile(path),
            std::string(reinterpret_cast<const char*>(decibels.data()), sizeof decibels));
  // A query that fails leaves none behind.
  EXPECT_EQ(Get(kKey + ";" + kKey),
            "[key 'HomePlug.SNR': The query asks for more files than one may, which is 1.]");
  using Files = std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(Files(folder_.Path("files")), Files()), 1);
}

}  // namespace
