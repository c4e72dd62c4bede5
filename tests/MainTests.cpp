// SPDX-License-Identifier: MIT
//
// What the program does besides pages: the submission of settings, and configuration downloads with
// their output, their log and the removal of the file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "main/ConfigurationDownload.h"
#include "main/SettingsSubmission.h"
#include "platform/StringTable.h"
#include "platform/StringVector.h"
#include "request/RequestHandler.h"
#include "tests/FakeSystemManager.h"
#include "tests/Output.h"
#include "tests/TestFolder.h"
#include "values/WGLVariables.h"

using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;
using Log = std::vector<std::string>;

void Deliver(const std::string& type) {
  WGLVariables variables;
  if (!type.empty()) variables.Set("_type", type);
  gSystemLog.clear();
  DeliverConfiguration(variables);
}

std::string Headers(const std::string& type, const std::string& disposition) {
  return "Content-Type: " + type + "\r\nContent-Disposition: attachment; filename=\"" +
         disposition + "\"\r\nPragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n";
}

}  // namespace

TEST(Submission, Variables) {
  const struct {
    const char* request;
    std::string answer;    // its rows, each followed by "|"; "" if no request is expected
    const char* expected;  // the variables added after the request's, without the number of errors
    int errors = 0;
  } rows[] = {
      {"a=b&x:sys:y=1&:sys=2", "", ""},
      {":sys:N.N-2=<v>", "|", "[_sys_N_N_2=&lt;v&gt;]"},
      {":sys:N.N-2=\"'%26&:sys:b=2", "must be <1> & up||",
       "[_sys_N_N_2=&quot;&#39;&amp;][_error_N_N_2=must be &lt;1&gt; &amp; up][_sys_b=2]", 1},
      {":sys:b=2&:sys:a=1", "||don't fit|",
       "[_sys_b=2][_sys_a=1][_error_consistency=don&#39;t fit]", 1},
      {":sys:a=1&:sys:b=2", "no|nor|neither|",
       "[_sys_a=1][_error_a=no][_sys_b=2][_error_b=nor][_error_consistency=neither]", 3},
      {":sys:a=1", "||", "[_sys_a=1]"},
      {":sys:=1", "unknown|", "[_sys_=1][_error_=unknown]", 1},
      {":sys:a\"<b>{x%3D;}=1", "bad|", "[_sys_a__b__x___=1][_error_a__b__x___=bad]", 1},
  };
  for (const auto& row : rows) {
    StringTable answer(1);
    const StringVector cells('|', row.answer);
    for (std::size_t i = 0; i + 1 < cells.size(); ++i) answer.AddRow(cells[i].c_str());
    FakeSystemManager peer;
    peer.otherwise = AnswerOf("0", answer.Serialize());
    WGLVariables variables;
    RequestHandler(&variables).ParseQueryString(row.request);
    RequestHandler(&variables).ParseQueryString("_okdir=od&_okpage=op&_okplain=&_oktype=ot");
    const auto requested = variables.end() - variables.begin();
    SubmitSettings(variables);
    std::string added;
    for (auto entry = variables.begin() + requested; entry != variables.end(); ++entry) {
      added += "[" + entry->first + "=" + entry->second + "]";
    }
    const char* okPage = row.errors == 0 ? "[_dir=od][_page=op][_type=ot]" : "";
    EXPECT_EQ(added, row.expected + "[_errorcount="s + std::to_string(row.errors) + "]" + okPage);
    EXPECT_EQ(peer.requests.size(), row.answer.empty() ? 0 : 1) << row.request;
  }
}

TEST(ConfigurationDownload, EachType) {
  const TestFolder folder(testing::TempDir() + "vistel-download");
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());  // for a path without a folder
  const std::string path = folder.Path("adapter.cfg");
  const std::string directory = folder.Path("folder");
  const std::string fifo = folder.Path("fifo");
  fs::create_directory(directory);
  mkfifo(fifo.c_str(), 0600);
  std::string content;
  for (unsigned i = 0; i < 200'000; ++i) content += static_cast<char>(i * 2654435761U >> 24);
  const std::string file = Headers("application/unknown", "adapter.cfg") + content;
  const std::string automatic = Headers("text/xml", "adapter.cfg") + content;
  const std::string text = Headers("text/xml", "attachment; filename=\"Adapter 1.xml");
  const std::string xml = "<x>\0</x>\n"s;
  const std::string crypt = "System.ConfigShowCrypt", show = "System.ConfigShow";
  const std::string autoShow = "System.AutoConfigShow";
  const struct {
    std::string type, key, answer, output, log = "";
    bool delivered = false;
  } rows[] = {
      {"ac", autoShow, path, automatic, "auto config", true},
      {"cfg", crypt, path, file, "config", true},
      {"cfg", crypt, "adapter.cfg", file, "config", true},
      {"xml", show, xml, text + xml},
      {"xml", "System.ProductName", "Adapter 1", text},
      {"ac", autoShow, path + "x", "", "auto config"},
      {"cfg", crypt, directory, "", "config"},
      {"cfg", crypt, fifo, "", "config"},
      {"cfg", "no such key", "", "", "config"},
      {"", show, "x", ""},
      {"AC", autoShow, path, ""},
      {"acx", autoShow, path, ""},
  };
  FakeSystemManager peer;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type + " " + row.answer);
    folder.Write("adapter.cfg", content);
    peer.replies = {{"System.ProductName", "Adapter 1"}, {row.key, row.answer}};
    const std::string output = OutputOf([&] { Deliver(row.type); });
    EXPECT_TRUE(output == row.output) << output.substr(0, 500);
    Log log;
    if (!row.log.empty()) log.push_back("6 got " + row.log + " file '" + row.answer + "'");
    if (row.delivered) log.push_back("6 and delivered");
    EXPECT_EQ(gSystemLog, log);
    EXPECT_EQ(fs::exists(path), !row.delivered);
    EXPECT_TRUE(fs::exists(directory) && fs::exists(fifo));
  }
  fs::current_path(before);
}

TEST(ConfigurationDownload, AClientThatHasLeft) {
  const TestFolder folder(testing::TempDir() + "vistel-download");
  const std::string path = folder.Write("adapter.cfg", std::string(200'000, 'x'));
  FakeSystemManager peer;
  peer.replies["System.ConfigShowCrypt"] = path;
  int pipes[2];
  ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
  close(pipes[0]);
  RunOnto(pipes[1], [] {
    Deliver("cfg");
    __fpurge(stdout);
  });
  close(pipes[1]);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(gSystemLog, Log{"6 got config file '" + path + "'"});
}
