// SPDX-License-Identifier: MIT
//
// The request handler's parts: decoding, fields, the choice of a language, its output; and the
// upload file. The fuzz target `multipart` reads bodies with files.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio_ext.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "request/RequestHandler.h"
#include "request/UploadFile.h"
#include "tests/Output.h"
#include "tests/TestFolder.h"
#include "values/WGLVariables.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

TEST(RequestHandler, Fields) {
  const struct {
    std::string text, expected;
  } rows[] = {
      {"", ""},
      {"b=1&a=2", "[b|1][a|2]"},
      {"a=1&b", "[a|1][b|]"},
      {"=x", "[|x]"},
      {"=", "[|]"},
      {"&", "[&|]"},
      {"a=1&", "[a|1]"},
      {"a&b=c", "[a&b|c]"},
      {"a=1&&b=2", "[a|1][&b|2]"},
      {"a=b=c", "[a|b=c]"},
      {"a=1&b=2&a=3", "[a|3][b|2]"},
      {"%3D%26=%26&c+d=a+b%2Bc+", "[=&|&][c d|a b+c ]"},
      {"%=%&a%4=a%4&x%41=x%41", "[%|%][a%4|a%4][xA|xA]"},
      {"=%4a%4A%f0%FF%2541", "[|JJ\xF0\xFF%41]"},
      {"=%zz%ZZ%4_%_4%%41", "[|SS@\4\0041]"},
      {"=%G0%\xFF\x80%++%/:%@`\xE4\0"s, "[|\0\0\0\0\0\xE4\0]"s},
  };
  for (const auto& row : rows) {
    WGLVariables variables;
    RequestHandler(&variables).ParseQueryString(row.text);
    std::string stored;
    for (const auto& [name, value] : variables) stored += "[" + name + "|" + value + "]";
    EXPECT_EQ(stored, row.expected) << row.text;
  }
  // A field of a part of the text.
  std::size_t position = 0;
  for (const char* expected : {"ab", "-c", ""}) {
    EXPECT_EQ(RequestHandler(nullptr).ParseQueryStringPart("ab--c--", position, 5, "--"), expected);
  }
  EXPECT_EQ(position, 6U);
}

// Only the first two bytes of each entry count, but the whole of "_lang".
TEST(RequestHandler, Language) {
  // Beside two catalogues, the folder holds things that are not catalogues: those that "." and ".."
  // would reach, names of other lengths or with other bytes than letters, another text domain, a
  // folder, and a FIFO, on which gettext would wait for a writer.
  const TestFolder folder(testing::TempDir() + "vistel-language");
  for (const std::string name : {"de", "Pt", ".", "..", "d", "deu", "d1", "1d", "_d"}) {
    folder.Write("locale/" + name + "/LC_MESSAGES/texts.mo", "");
  }
  folder.Write("locale/es/LC_MESSAGES/other.mo", "");
  folder.Write("locale/it/LC_MESSAGES/texts.mo/file", "");
  folder.Write("locale/fr/LC_MESSAGES/other.mo", "");
  mkfifo(folder.Path("locale/fr/LC_MESSAGES/texts.mo").c_str(), 0600);
  const struct {
    std::string requested, header, expected;
  } rows[] = {
      {"de", "Pt", "de"},        {"", "xx,Pt,de", "Pt"},
      {"xx", ",,deu;q=0", "de"}, {"", "d,1d,_d,d1,.,..,./,fr,es,it,DE,pt, de", "en"},
      {"d", "", "en"},           {"deu", "", "en"},
      {"../de", "", "en"},       {"de\0"s, "", "en"},
      {"fr", "", "en"},          {"..", "", "en"},
  };
  WGLVariables variables;
  for (const auto& row : rows) {
    variables.Set("_lang", row.requested);
    setenv("HTTP_ACCEPT_LANGUAGE", row.header.c_str(), 1);
    EXPECT_EQ(RequestHandler(&variables).DetermineLanguage(folder.Path("locale"), "texts"),
              row.expected)
        << row.requested << " " << row.header;
  }
  unsetenv("HTTP_ACCEPT_LANGUAGE");
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

TEST(UploadFile, KeepsWhatFitted) {
  const TestFolder folder(testing::TempDir() + "vistel-upload");
  const std::string path = folder.Path("upload.bin");
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {7, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::int64_t size = UploadTo(path);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(size, UploadFile::kFailed);
  EXPECT_EQ(ReadFile(path), "0123456");

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
