// SPDX-License-Identifier: MIT
//
// Multipart bodies cut into reads of every size, against a reader of single bytes; and the fate of
// the upload file.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "request/UploadFile.h"
#include "tests/TestFolder.h"
#include "tests/fuzz/MultipartRun.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

const std::string kField = "Content-Disposition: form-data; name=\"a\"\r\n\r\n";
const std::string kFile = "Content-Disposition: form-data; name=\"f\"; filename=\"x\"\r\n\r\n";
constexpr std::size_t kFileLimit = 6291456;

// "@" stands for the boundary, "<" and ">" for the headers of a field and of a file.
std::string Body(const std::string& text, const std::string& boundary) {
  std::string body;
  for (char byte : text) {
    body += byte == '@' ? boundary : byte == '<' ? kField : byte == '>' ? kFile : ""s + byte;
  }
  return body;
}

void ExpectLikeReference(const std::string& body, const std::string& boundary,
                         const std::vector<std::size_t>& pieces) {
  const MultipartOutcome expected = ReferenceMultipart(body, boundary);
  for (std::size_t piece : pieces) {
    const MultipartOutcome outcome = RunMultipart(body, boundary, piece);
    ASSERT_EQ(outcome.result, expected.result) << piece << ": " << body.substr(0, 200);
    ASSERT_TRUE(outcome == expected) << piece << ": " << body.substr(0, 200);
  }
}

}  // namespace

TEST(Upload, ReadsLikeAReaderOfBytes) {
  std::vector<std::string> boundaries = {
      "", "B", "-", "\"quoted B\"", ".*[a(\\$|^", "xy; charset=utf-8"};
  for (std::size_t size : {70, 122, 123, 124, 125, 126, 127, 128, 5000}) {
    boundaries.push_back(std::string(size, 'x'));
  }
  const std::string bodies[] = {
      "--@--",
      "--@--\r\n--@\r\n<",
      "--@\n",
      "--@x-",
      "---@--",
      "preamble\r\n--@--",
      "-x--@--",
      "--@\r\n<1\r\n--@\r\n<2\r\n--@--epilogue",
      "--@\r\n<\r\n--@--",
      "--@\r\n<1\n--@\n",
      "--@\r\n<1--@\r\n--\r\n-@\r\r\n--@--",
      "--@\r\n<\r\n\r\n--\r\n\r\r\n\r\n--@--",
      "--@\r\n<\r\r\n--@--\r\n--@--",
      "--@\r\n<\r\n--@x\r\n--@--",
      "--@\r\nContent-Disposition: form-data; name=\"a\"\n\nvalue\r\n--@--",
      "--@\r\nX\r: na\rme; na\rme=\"a\r\"\r\r\n\r\r\nvalue\r\n--@--",
      "--@\r\nX: name=\"1\"; name=\"2\"\r\nY: name=\"3\"\r\nZ: name=\"open\r\n\r\nvalue\r\n--@--",
      "--@\r\n name=\"a\" filename=\"f\"\r\nX: filename=\"\"\r\n\r\nvalue\r\n--@--",
      "--@\r\nfilename=\"f\" xname=\"a\"\r\nNAME=\"b\"\r\n\r\nvalue\r\n--@--",
      "--@\r\n\r\nnameless\r\n--@--",
      "--@\r\n name=\"n\0m\" \0\r\n\r\nv\0w\r\n--@--"s,
      "--@\r\n>content\r\n--@--",
      "--@\r\n>first\r\n--@\r\n>second\r\n--@--",
      "--@\r\n>first\r\n--@\r\n>\r\n--@--",
      "--@\r\n>first\r\n--@\r\n>second, cut\r\n--",
      "--@\r\n<1\r\n--@\r\n>\r\n-\r\n--\r\n--@--",
  };
  for (const std::string& boundary : boundaries) {
    for (const std::string& text : bodies) {
      const std::string body = Body(text, boundary);
      std::vector<std::size_t> pieces = {1, 2, 127, 128, body.size() + 1};
      for (std::size_t piece = 3; piece <= body.size() && body.size() < 250; ++piece) {
        pieces.push_back(piece);
      }
      ExpectLikeReference(body, boundary, pieces);
    }
  }
  // The client gone after any byte.
  const std::string whole = Body("--@\r\n<1\r\n--@\r\n>content\r\n--@\r\n<\r\n--@--", "B");
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    ExpectLikeReference(whole.substr(0, size), "B", {1, 5, 65536});
  }
}

TEST(Upload, Limits) {
  const std::vector<std::size_t> pieces = {1, 7, 8191, 8192, 8193, 65536};
  for (std::size_t size = 8180; size <= 8195; ++size) {
    const std::string text(size, 'x');
    const std::string bodies[] = {
        text + "--@--",
        "--@\r\n<" + text + "\r\n--@--",
        // What looks like a delimiter is kept or dropped as a whole.
        "--@\r\n<" + text + "\r\n--\r\n--@--",
        "--@\r\n<" + text + "\r\n--x\r\n--@--",
        "--@\r\n name=\"" + text.substr(4) + "\"\r\n\r\n1\r\n--@--",
        "--@\r\n" + text.substr(40) + "\r\n<1\r\n--@--",
        "--@\r\n" + text + "\r\n<1\r\n--@--",
    };
    for (const std::string& body : bodies) ExpectLikeReference(Body(body, "B"), "B", pieces);
  }
  for (std::size_t size = kFileLimit - 3; size <= kFileLimit + 1; ++size) {
    ExpectLikeReference("--B\r\n" + kFile + std::string(size, 'x') + "\r\n-\r\n--B--", "B",
                        {65536});
  }
  // Windows that end anywhere in what looks like a delimiter, and bytes of every kind.
  std::string data = "--B\r\n" + kFile;
  for (unsigned i = 0; i < 150'000; ++i) data += static_cast<char>(i * 2654435761U >> 24);
  for (unsigned i = 0; i < 20'000; ++i) data += "\r\n--Bx\r\n-\r"s.substr(i % 5);
  ExpectLikeReference(data + "\r\n--B--", "B", {5, 8191, 65535, 65536});
  std::string parts;
  for (int i = 0; i < 10'000; ++i) parts += "--B\r\n" + kField + std::to_string(i) + "\r\n";
  ExpectLikeReference(parts + "--B--", "B", {9, 65536});
  ExpectLikeReference("--B\r\nX: " + std::string(1'000'000, 'x') + "\r\n\r\n\r\n--B--", "B",
                      {65536});
}

namespace {

// An upload of ten bytes in two writes.
std::int64_t UploadTo(const std::string& path) {
  UploadFile file(path);
  file.Write("01234");
  file.Write("56789");
  return file.Size();
}

}  // namespace

TEST(UploadFile, ReplacesWhateverStandsThere) {
  // What stands at `path`; nothing may become of `other`, nor come to be at path + "x".
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
    const std::string path = folder.Path() + "/upload.bin";
    const std::string other = folder.Write("other", "untouched");
    row.make(path, other);
    const mode_t umaskBefore = umask(0277);
    EXPECT_EQ(UploadTo(path), row.replaced ? 10 : UploadFile::kFailed);
    umask(umaskBefore);
    EXPECT_EQ(ReadFile(other), fs::exists(other) ? "untouched" : "");
    EXPECT_FALSE(fs::exists(path + "x"));
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status) == 0 && status.st_mode == (S_IFREG | 0600U),
              row.replaced);
    if (row.replaced) {
      EXPECT_EQ(ReadFile(path), "0123456789");
    }
  }
}

TEST(UploadFile, TwoAtOnceShareNothing) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path() + "/upload.bin";
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

TEST(UploadFile, KeepsWhatFitted) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path() + "/upload.bin";
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {7, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::int64_t size = UploadTo(path);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(size, UploadFile::kFailed);
  EXPECT_EQ(ReadFile(path), "0123456");

  // Mounts of this process alone, which end with it.
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
