// SPDX-License-Identifier: MIT
//
// Parts of the request handler, and the upload file. What comes in is tested by the cases and by
// the fuzz target `request`.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio_ext.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
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

// An upload of ten bytes in two writes.
static std::int64_t UploadTo(const std::string& path) {
  UploadFile file(path);
  file.Write("01234");
  file.Write("56789");
  return file.Size();
}

TEST(UploadFile, ReplacesWhateverStandsThere) {
  // Makes what is at `path`; the upload must neither change `other` nor make a file at path + "x".
  using Maker = std::function<void(const std::string& path, const std::string& other)>;
  const struct {
    Maker make;
    bool replaced = true;
  } rows[] = {
      {[](auto&, auto&) {}},
      {[](auto& path, auto&) { std::ofstream(path) << "longer than an upload"; }},
      {[](auto& path, auto&) { mkfifo(path.c_str(), 0666); }},
      {[](auto& path, auto& other) { fs::create_symlink(other, path); }},
      {[](auto& path, auto&) { fs::create_symlink(path + "x", path); }},
      {[](auto& path, auto& other) { fs::create_hard_link(other, path); }},
      {[](auto& path, auto&) { fs::create_directory(path); }, false},
      {[](auto& path, auto&) { fs::remove_all(fs::path(path).parent_path()); }, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const TestFolder folder(testing::TempDir() + "vistel-upload");
    const std::string path = folder.Path("upload.bin");
    const std::string other = folder.Write("other", "untouched");
    row.make(path, other);
    const mode_t umaskBefore = umask(0277);
    EXPECT_EQ(UploadTo(path), row.replaced ? 10 : UploadFile::kFailed);
    umask(umaskBefore);
    EXPECT_EQ(ReadFile(other), fs::exists(other) ? "untouched" : "");
    EXPECT_FALSE(fs::exists(path + "x"));
    struct stat status = {};
    if (!row.replaced) continue;
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
    EXPECT_EQ(ReadFile(path), "0123456789");
  }
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
