// SPDX-License-Identifier: MIT
//
// Parts of the request handler, and the upload file. What comes in is tested by the cases and by
// the fuzz target `request`.
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/resource.h>
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

// A limit cuts a write as a full disk does. What comes later would leave a gap, although there is
// room.
TEST(UploadFile, KeepsWhatFits) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path("upload.bin");
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {4096, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  UploadFile file(path);
  file.Write(std::string(5000, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(file.Size(), UploadFile::kFailed);
  file.Write("dropped");
  EXPECT_EQ(file.Size(), UploadFile::kFailed);
  EXPECT_EQ(ReadFile(path), std::string(4096, 'x'));
}
