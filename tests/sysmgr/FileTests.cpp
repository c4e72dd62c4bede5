// SPDX-License-Identifier: MIT
//
// Files that the service hands over and those that it is handed: whose they are, how many there can
// be, and that no link is followed.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/files/UploadedFile.h"
#include "sysmgr/log/Failure.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/DeviceTest.h"

namespace {

bool IsThere(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::string FaultOfFolder(const std::string& path) {
  try {
    const HandoverFolder folder(path, [] { return 0; });
    return "none";
  } catch (const StartFailure& failure) {
    return failure.what();
  }
}

TEST(HandoverFolder, NumberAgeAndMode) {
  const TestFolder parent("/tmp/vistel-sysmgr");
  const std::string path = parent.Path() + "/run/files";
  std::int64_t now = 5;
  const std::string stale = parent.Write("run/files/stale", "x");
  ASSERT_EQ(chmod(path.c_str(), 0700), 0);
  std::string last;
  {
    HandoverFolder folder(path, [&now] { return now; });
    EXPECT_FALSE(IsThere(stale));
    const std::string first = folder.Put("a-", ".xml", "content");
    EXPECT_EQ(first.size(), (path + "/a-XXXXXX.xml").size());
    EXPECT_EQ(ReadFile(first), "content");
    struct stat status {};
    ASSERT_EQ(stat(first.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    now += HandoverFolder::kMaxAgeSeconds;
    const std::string second = folder.Put("a-", "", "");
    EXPECT_TRUE(IsThere(first));
    now += 1;
    folder.RemoveOld();
    EXPECT_FALSE(IsThere(first));
    ASSERT_EQ(rename(path.c_str(), (path + ".gone").c_str()), 0);
    EXPECT_EQ(folder.Put("a-", "", ""), "");
    ASSERT_EQ(rename((path + ".gone").c_str(), path.c_str()), 0);
    for (std::size_t i = 1; i < HandoverFolder::kMaxFiles; ++i) last = folder.Put("a-", ".bin", "");
    EXPECT_TRUE(IsThere(second));
    now += HandoverFolder::kSafeSeconds - 2;
    EXPECT_EQ(folder.Put("a-", ".bin", ""), "");
    // What has been fetched is in nobody's way.
    ASSERT_EQ(unlink(last.c_str()), 0);
    EXPECT_TRUE(IsThere(folder.Put("a-", ".bin", "")));
    EXPECT_TRUE(IsThere(second));
    now += 1;
    last = folder.Put("a-", ".bin", "");
    EXPECT_FALSE(IsThere(second));
    EXPECT_TRUE(IsThere(last));
  }
  EXPECT_FALSE(IsThere(last));
}

TEST(HandoverFolder, OnlyOnesOwn) {
  const TestFolder parent("/tmp/vistel-sysmgr");
  const std::string path = parent.Path() + "/files";
  const std::string other = parent.Write("other/kept", "x");
  ASSERT_EQ(symlink("other", path.c_str()), 0);
  EXPECT_NE(FaultOfFolder(path).find("can't be used"), std::string::npos) << FaultOfFolder(path);
  EXPECT_TRUE(IsThere(other));
  ASSERT_EQ(unlink(path.c_str()), 0);
  for (const mode_t mode : {0710, 0701, 0770, 0755}) {
    static_cast<void>(mkdir(path.c_str(), 0700));
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_NE(FaultOfFolder(path).find("is too open"), std::string::npos) << mode;
  }
  ASSERT_EQ(chmod(path.c_str(), 0700), 0);
  EXPECT_EQ(FaultOfFolder(path), "none");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(path.c_str(), 1, 1), 0);
    EXPECT_NE(FaultOfFolder(path).find("somebody else"), std::string::npos);
  }
}

TEST(UploadedFile, OnlyARegularFileOfOnesOwn) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string path = folder.Path() + "/upload.bin";
  const std::string target = folder.Write("target", "secret");
  const UploadedFile upload(path);
  const std::string kUnreadable = "The uploaded file can not be read.";
  std::string content;
  const auto read = [&](std::size_t maxBytes, std::string& into) {
    return UploadedFile::Read(upload.Open(), maxBytes, into);
  };
  EXPECT_EQ(read(100, content), "No file has been uploaded.");
  ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
  EXPECT_EQ(read(100, content), kUnreadable);
  upload.Delete(upload.Open());
  EXPECT_TRUE(IsThere(target));
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(read(100, content), kUnreadable);
  upload.Delete(upload.Open());
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  EXPECT_EQ(read(100, content), kUnreadable);
  ASSERT_EQ(rmdir(path.c_str()), 0);
  folder.Write("upload.bin", "hello");
  EXPECT_EQ(read(4, content), "The uploaded file has more than 4 bytes.");
  EXPECT_EQ(read(5, content), "");
  EXPECT_EQ(content, "hello");
  // A newer one takes its place while it is read.
  const UploadedFile::Opened older = upload.Open();
  ASSERT_EQ(rename(folder.Write("newer", "newer").c_str(), path.c_str()), 0);
  upload.Delete(older);
  EXPECT_EQ(ReadFile(path), "newer");
  upload.Delete(upload.Open());
  EXPECT_FALSE(IsThere(path));
  folder.Write("upload.bin", "hello");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(path.c_str(), 1, 1), 0);
    EXPECT_EQ(read(5, content), kUnreadable);
    EXPECT_EQ(content, "");
  }
}

TEST_F(DeviceTest, UploadsThatNobodyActsOnGo) {
  const std::string path = folder_.Write("upload.bin", "secret");
  const auto wait = [this](std::int64_t seconds) {
    steady_ += seconds;
    features_.OnTimer();
    return IsThere(folder_.Path() + "/upload.bin");
  };
  EXPECT_TRUE(wait(10000));
  EXPECT_TRUE(wait(UploadedFile::kMaxAgeSeconds - 1));
  // Another one has its own time.
  std::filesystem::last_write_time(path, std::filesystem::file_time_type());
  EXPECT_TRUE(wait(1));
  EXPECT_FALSE(wait(UploadedFile::kMaxAgeSeconds));
  folder_.Write("upload.bin", "secret");
  EXPECT_EQ(Set({{"System.FactoryReset", "1"}}), "");
  EXPECT_FALSE(IsThere(path));
}

TEST_F(DeviceTest, SnrFiles) {
  const std::string kKey = "HomePlug.SNR{MacAddress=00:0b:3b:7f:01:03}:format=scalar;";
  const std::string path = TableText(Query(kKey));
  EXPECT_EQ(path.find(folder_.Path() + "/files/snr-"), 0U) << path;
  const std::string bytes = ReadFile(path);
  const Powerline::Decibels decibels = powerline_.Snr(2, false, now_);
  ASSERT_EQ(bytes.size(), sizeof decibels);
  EXPECT_EQ(std::memcmp(bytes.data(), decibels.data(), bytes.size()), 0);
  EXPECT_EQ(Query(kKey + kKey).Rows(), 0U);
  EXPECT_NE(problem_.find("would make more files than one query may, 1"), std::string::npos);
  // A query that fails leaves none behind.
  EXPECT_TRUE(IsThere(path));
  using Files = std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(Files(folder_.Path() + "/files"), Files()), 1);
}

}  // namespace
