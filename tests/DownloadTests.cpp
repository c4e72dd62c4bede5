// SPDX-License-Identifier: MIT
//
// Configuration downloads: all that they write, what the log says, and what becomes of the file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "main/ConfigurationDownload.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "tests/FakeSystemManager.h"
#include "tests/SystemLog.h"
#include "tests/TestFolder.h"
#include "wgl/WGLVariables.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned kMilliseconds = 5000;

using Log = std::vector<std::string>;

std::string Delivered(const std::string& type) {
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  const int output = memfd_create("output", 0);
  dup2(output, STDOUT_FILENO);
  WGLVariables variables;
  if (!type.empty()) variables.Set("_type", type);
  DeliverConfiguration(variables);
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  std::string text(static_cast<std::size_t>(lseek(output, 0, SEEK_END)), '\0');
  const ssize_t size = pread(output, text.data(), text.size(), 0);
  close(saved);
  close(output);
  return size == static_cast<ssize_t>(text.size()) ? text : "unreadable";
}

}  // namespace

TEST(ConfigurationDownload, EachType) {
  const TestFolder folder(testing::TempDir() + "vistel-download");
  std::map<std::string, std::string> answers;
  FakeSystemManager peer(folder.Path() + "/socket", [&](const FakeSystemManager::Request& request) {
    const auto answer = answers.find(request[4]);
    return FakeSystemManager::Reaction{answer != answers.end() ? AnswerOf("0", answer->second)
                                                               : AnswerOf("1", "unknown key")};
  });
  static SvcMgrFunctions service;  // gSysMgr keeps it beyond this test
  gSysMgr.~SysMgrProxy();
  new (&gSysMgr) SysMgrProxy("Vistel", service, "", folder.Path() + "/socket", kMilliseconds);

  std::string content;
  for (unsigned i = 0; i < 200'000; ++i) content += static_cast<char>(i * 2654435761U >> 24);
  const std::string path = folder.Path() + "/adapter.cfg";
  fs::create_directory(folder.Path() + "/folder");
  mkfifo((folder.Path() + "/fifo").c_str(), 0600);
  const std::string rest = "Pragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n";
  const auto headers = [&](const std::string& type, const std::string& disposition) {
    return "Content-Type: " + type + "\r\nContent-Disposition: " + disposition + "\r\n" + rest;
  };
  const struct {
    std::string type, key, answer, output;
    Log log;
  } rows[] = {
      {"ac",
       "System.AutoConfigShow",
       path,
       headers("text/xml", "attachment; filename=\"adapter.cfg\"") + content,
       {"6 got auto config file '" + path + "'", "6 and delivered"}},
      {"cfg",
       "System.ConfigShowCrypt",
       path,
       headers("application/unknown", "attachment; filename=\"adapter.cfg\"") + content,
       {"6 got config file '" + path + "'", "6 and delivered"}},
      {"xml",
       "System.ConfigShow",
       std::string("<x>\0</x>\n", 9),
       headers("text/xml", "attachment; filename=\"attachment; filename=\"Adapter 1.xml\"") +
           std::string("<x>\0</x>\n", 9),
       {}},
      {"xml",
       "System.ProductName",
       "Adapter 1",
       headers("text/xml", "attachment; filename=\"attachment; filename=\"Adapter 1.xml\""),
       {}},
      {"ac", "System.AutoConfigShow", path + "x", "", {"6 got auto config file '" + path + "x'"}},
      {"cfg",
       "System.ConfigShowCrypt",
       folder.Path() + "/folder",
       "",
       {"6 got config file '" + folder.Path() + "/folder'"}},
      {"cfg",
       "System.ConfigShowCrypt",
       folder.Path() + "/fifo",
       "",
       {"6 got config file '" + folder.Path() + "/fifo'"}},
      {"cfg", "System.ConfigShowCrypt", "", "", {"6 got config file ''"}},
      {"cfg", "no such key", "", "", {"6 got config file ''"}},
      {"", "System.ConfigShow", "x", "", {}},
      {"AC", "System.AutoConfigShow", path, "", {}},
      {"acx", "System.AutoConfigShow", path, "", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type + " " + row.answer);
    folder.Write("adapter.cfg", content);
    answers = {{"System.ProductName", "Adapter 1"}};
    answers[row.key] = row.answer;
    gSystemLog.clear();
    const std::string output = Delivered(row.type);
    EXPECT_TRUE(output == row.output) << output.substr(0, 500);
    EXPECT_EQ(gSystemLog, row.log);
    const bool delivered = row.log.size() == 2;
    EXPECT_EQ(fs::exists(path), !delivered);
    EXPECT_TRUE(fs::exists(folder.Path() + "/folder") && fs::exists(folder.Path() + "/fifo"));
  }

  // A client that has left.
  int pipes[2];
  ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
  close(pipes[0]);
  answers["System.ConfigShowCrypt"] = path;
  folder.Write("adapter.cfg", content);
  gSystemLog.clear();
  WGLVariables variables;
  variables.Set("_type", "cfg");
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  dup2(pipes[1], STDOUT_FILENO);
  DeliverConfiguration(variables);
  __fpurge(stdout);
  std::clearerr(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  close(pipes[1]);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(gSystemLog, Log{"6 got config file '" + path + "'"});

  // A name that holds no folder.
  answers["System.ConfigShowCrypt"] = "adapter.cfg";
  folder.Write("adapter.cfg", "content");
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());
  EXPECT_EQ(Delivered("cfg"),
            headers("application/unknown", "attachment; filename=\"adapter.cfg\"") + "content");
  fs::current_path(before);
  EXPECT_FALSE(fs::exists(path));

  gSysMgr.~SysMgrProxy();
  new (&gSysMgr) SysMgrProxy("Vistel", service, "", "", kMilliseconds);
  gSystemLog.clear();
  EXPECT_EQ(Delivered("ac"), "");
  EXPECT_EQ(gSystemLog, Log{"6 got auto config file ''"});
}
