// SPDX-License-Identifier: MIT
//
// Configuration downloads: all that they write, what the log says, and what becomes of the file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "main/ConfigurationDownload.h"
#include "tests/FakeSystemManager.h"
#include "tests/StandardOutput.h"
#include "tests/SystemLog.h"
#include "tests/TestFolder.h"
#include "values/WGLVariables.h"

namespace fs = std::filesystem;

namespace {

using Log = std::vector<std::string>;

std::string Delivered(const std::string& type) {
  WGLVariables variables;
  if (!type.empty()) variables.Set("_type", type);
  gSystemLog.clear();
  return OutputOf([&] { DeliverConfiguration(variables); });
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
  UseSystemManager(folder.Path() + "/socket");

  std::string content;
  for (unsigned i = 0; i < 200'000; ++i) content += static_cast<char>(i * 2654435761U >> 24);
  const std::string path = folder.Path() + "/adapter.cfg";
  fs::create_directory(folder.Path() + "/folder");
  mkfifo((folder.Path() + "/fifo").c_str(), 0600);
  const auto headers = [&](const std::string& type, const std::string& disposition) {
    return "Content-Type: " + type + "\r\nContent-Disposition: attachment; filename=\"" +
           disposition + "\"\r\nPragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n";
  };
  const std::string xmlHeaders = headers("text/xml", "attachment; filename=\"Adapter 1.xml");
  const std::string crypt = "System.ConfigShowCrypt", show = "System.ConfigShow";
  const std::string automatic = "System.AutoConfigShow", gotConfig = "6 got config file '";
  const std::string xml("<x>\0</x>\n", 9), delivered = "6 and delivered";
  const struct {
    std::string type, key, answer, output;
    Log log;
  } rows[] = {
      {"ac",
       automatic,
       path,
       headers("text/xml", "adapter.cfg") + content,
       {"6 got auto config file '" + path + "'", delivered}},
      {"cfg",
       crypt,
       path,
       headers("application/unknown", "adapter.cfg") + content,
       {gotConfig + path + "'", delivered}},
      {"xml", show, xml, xmlHeaders + xml, {}},
      {"xml", "System.ProductName", "Adapter 1", xmlHeaders, {}},
      {"ac", automatic, path + "x", "", {"6 got auto config file '" + path + "x'"}},
      {"cfg", crypt, folder.Path() + "/folder", "", {gotConfig + folder.Path() + "/folder'"}},
      {"cfg", crypt, folder.Path() + "/fifo", "", {gotConfig + folder.Path() + "/fifo'"}},
      {"cfg", "no such key", "", "", {gotConfig + "'"}},
      {"", show, "x", "", {}},
      {"AC", automatic, path, "", {}},
      {"acx", automatic, path, "", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type + " " + row.answer);
    folder.Write("adapter.cfg", content);
    answers = {{"System.ProductName", "Adapter 1"}};
    answers[row.key] = row.answer;
    const std::string output = Delivered(row.type);
    EXPECT_TRUE(output == row.output) << output.substr(0, 500);
    EXPECT_EQ(gSystemLog, row.log);
    EXPECT_EQ(fs::exists(path), row.log.size() < 2);
    EXPECT_TRUE(fs::exists(folder.Path() + "/folder") && fs::exists(folder.Path() + "/fifo"));
  }

  // A client that has left.
  int pipes[2];
  ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
  close(pipes[0]);
  answers[crypt] = path;
  folder.Write("adapter.cfg", content);
  gSystemLog.clear();
  WGLVariables variables;
  variables.Set("_type", "cfg");
  RunOnto(pipes[1], [&] {
    DeliverConfiguration(variables);
    __fpurge(stdout);
  });
  close(pipes[1]);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(gSystemLog, Log{gotConfig + path + "'"});

  // A name that holds no folder.
  answers[crypt] = "adapter.cfg";
  folder.Write("adapter.cfg", "content");
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());
  EXPECT_EQ(Delivered("cfg"), headers("application/unknown", "adapter.cfg") + "content");
  fs::current_path(before);
  EXPECT_FALSE(fs::exists(path));

  UseSystemManager("");
  EXPECT_EQ(Delivered("ac"), "");
  EXPECT_EQ(gSystemLog, Log{"6 got auto config file ''"});
}
