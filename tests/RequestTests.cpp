// SPDX-License-Identifier: MIT
//
// Parts of the request handler, and the upload file. What comes in is tested by the cases and by
// the fuzz target `request`.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio_ext.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "request/RequestHandler.h"
#include "request/UploadFile.h"
#include "tests/Output.h"
#include "tests/TestFolder.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

TEST(RequestHandler, PartOfAText) {
  std::size_t position = 0;
  for (const char* expected : {"ab", "-c", ""}) {
    EXPECT_EQ(RequestHandler(nullptr).ParseQueryStringPart("ab--c--", position, 5, "--"), expected);
  }
  EXPECT_EQ(position, 6U);
}

// The percent signs of an argument come out unchanged, and headers are written even if the stream
// is discarded later.
TEST(RequestHandler, Headers) {
  EXPECT_EQ(OutputOf([] {
              RequestHandler::WriteHeaders("a/b; c=%s", "attachment; filename=\"%n\"");
              __fpurge(stdout);
            }),
            "Content-Type: a/b; c=%s\r\nContent-Disposition: attachment; filename=\"%n\"\r\n"
            "Pragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n");
}

TEST(UploadFile, TwoAtOnceShareNothing) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path("upload.bin");
  UploadFile first(path);
  first.Write("first");
  UploadFile second(path);
  second.Write("second");
  first.Write("first");
  first.Remove();
  EXPECT_EQ(ReadFile(path), "second");
  second.Remove();
  EXPECT_FALSE(fs::exists(path));
}

TEST(UploadFile, KeepsWhatFitsOnTheDisk) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path("upload.bin");
  // The mounts are visible in this process only and end with it.
  if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", folder.Path().c_str(), "tmpfs", 0, "size=4096") != 0) {
    GTEST_SKIP() << "a full file system can't be tried: mounting isn't permitted here";
  }
  {
    UploadFile file(path);
    file.Write(std::string(5000, 'x'));
    file.Write("dropped");
    EXPECT_EQ(file.Size(), UploadFile::kFailed);
  }
  EXPECT_EQ(ReadFile(path), std::string(4096, 'x'));
  umount(folder.Path().c_str());
}
