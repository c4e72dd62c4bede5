// SPDX-License-Identifier: MIT
//
// The proxy to the system manager, against peers that answer, and against all kinds that don't.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "main/SvcMgrFunctions.h"
#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"
#include "tests/FakeSystemManager.h"
#include "tests/TestFolder.h"

using namespace std::string_literals;

namespace {

using Reaction = FakeSystemManager::Reaction;
using Request = FakeSystemManager::Request;
using Cells = std::vector<std::string>;

constexpr unsigned kShortMilliseconds = 150;
constexpr unsigned kLongMilliseconds = 5000;

constexpr char kNotReached[] =
    "The system manager could not be reached; the setting was not stored.";
constexpr char kNotAnswered[] =
    "The system manager did not answer; the setting may or may not be stored.";
constexpr char kRefused[] = "The system manager refused the request; the setting was not stored.";

std::string ColumnText(const Cells& cells) {
  StringTable table(1);
  for (const std::string& cell : cells) table.AddRow(cell.c_str());
  return table.Serialize();
}

// As Proxy::Set writes them.
std::string ForBothKeys(const std::string& text) {
  std::string rows;
  for (int key = 0; key < 2; ++key) rows.append("[").append(text).append("]");
  return rows;
}

class Proxy : public testing::Test {
 protected:
  Proxy() : folder_(testing::TempDir() + "vistel-proxy"), path_(folder_.Path() + "/socket") {}

  void Peer(std::function<Reaction(const Request&)> react) {
    peer_.reset();
    peer_ = std::make_unique<FakeSystemManager>(path_, std::move(react));
  }

  SysMgrProxy Make(unsigned milliseconds, const std::string& authFile = "/nonexistent") {
    return SysMgrProxy("Vistel", service_, authFile, path_, milliseconds);
  }

  // "result reply"
  static std::string Query(SysMgrProxy& proxy, const std::string& query = "k") {
    std::string reply = "untouched";
    const int result = proxy.sQueryKey("client", query, "0", reply);
    return std::to_string(result) + " " + reply;
  }

  // The same of setting two keys, whose rows come in brackets.
  static std::string Set(SysMgrProxy& proxy) {
    std::string reply;
    const int result =
        proxy.sSetKey("client", ColumnText({"k", "l"}), ColumnText({"1", "2"}), reply);
    std::string text = std::to_string(result) + " ";
    const StringTable table(reply, StringTable::kSerialized);
    for (unsigned row = 0; row < table.Rows(); ++row) text += "[" + table.Get(row, 0) + "]";
    return text;
  }

  TestFolder folder_;
  std::string path_;
  SvcMgrFunctions service_;
  std::unique_ptr<FakeSystemManager> peer_;
};

}  // namespace

TEST_F(Proxy, RequestsAndAnswers) {
  const std::string large(200000, 'x');
  Peer([&](const Request& request) -> Reaction {
    if (request[4] == "large") return {AnswerOf("0", large)};
    if (request[0] == "set") return {AnswerOf("0", ColumnText({"", "wrong"}))};
    return {AnswerOf("0", request[4] + "!")};
  });
  SysMgrProxy proxy = Make(kLongMilliseconds, folder_.Write("rpcauth", "se\ncret\n\n"));
  EXPECT_EQ(peer_->Connections(), 0U) << "nothing is connected before the first request";
  EXPECT_EQ(Query(proxy, "a\0b"s), "0 a\0b!"s);
  EXPECT_EQ(Query(proxy, "large"), "0 " + large);
  EXPECT_EQ(Set(proxy), "0 [][wrong]");
  EXPECT_EQ(peer_->Connections(), 1U);
  const std::vector<Request> expected = {
      {"query", "Vistel", "se\ncret\n", "client", "a\0b"s, "0"},
      {"query", "Vistel", "se\ncret\n", "client", "large", "0"},
      {"set", "Vistel", "se\ncret\n", "client", ColumnText({"k", "l"}), ColumnText({"1", "2"})},
  };
  EXPECT_EQ(peer_->Requests(), expected);
}

TEST_F(Proxy, AuthorisationFile) {
  ASSERT_EQ(mkfifo((folder_.Path() + "/fifo").c_str(), 0600), 0);
  const std::string longest(4096, 's');
  const std::pair<std::string, std::string> rows[] = {
      {folder_.Path() + "/missing", ""},
      {folder_.Path(), ""},
      {folder_.Path() + "/fifo", ""},
      {folder_.Write("empty", ""), ""},
      {folder_.Write("newline", "\n"), ""},
      {folder_.Write("bytes", "a\0b\r\n"s), "a\0b\r"s},
      {folder_.Write("longest", longest), longest},
      {folder_.Write("longest-line", longest + "\n"), longest},
      {folder_.Write("longer", longest + "s"), ""},
      {folder_.Write("longer-line", longest + "s\n"), ""},
  };
  Peer([](const Request& request) -> Reaction { return {AnswerOf("0", request[2])}; });
  for (const auto& [file, authorisation] : rows) {
    SysMgrProxy proxy = Make(kLongMilliseconds, file);
    EXPECT_EQ(Query(proxy), "0 " + authorisation) << file;
  }
}

// Each of these is a failed call, soon and without a signal, and the next call works again.
TEST_F(Proxy, FailedAnswers) {
  const std::string good = AnswerOf("0", "good");
  std::vector<std::string> bad = {
      "0:,",         "5:hello,",  "3:0:,,",      "6:0:,0:,,",           "7:1:0,0:,x",
      "8:1:0,0:,x,", "16777217:", "4294967296:", std::string(100, '9'), std::string(100, '0')};
  for (const char* result : {"", "-1", "+0", "0 ", "zero", "1234567890", "00", "4294967296"}) {
    bad.push_back(AnswerOf(result, "r"));
  }
  for (std::size_t i = 0; i < good.size(); ++i) {
    bad.push_back(good.substr(0, i));
    if (std::string("good").find(good[i]) != std::string::npos) continue;  // the reply itself
    bad.push_back(good);
    bad.back()[i] = ';';
  }
  std::size_t index = 0;
  Peer([&](const Request& request) -> Reaction {
    if (request[4] == "good") return {good};
    return {bad[index], 0, true};
  });
  for (index = 0; index < bad.size(); ++index) {
    SysMgrProxy proxy = Make(kLongMilliseconds);
    EXPECT_EQ(Query(proxy, "bad"), "-1 ") << bad[index];
    EXPECT_EQ(Query(proxy, "good"), "0 good") << "after " << bad[index];
    EXPECT_EQ(Set(proxy), "-1 " + ForBothKeys(kNotAnswered)) << bad[index];
  }
}

TEST_F(Proxy, StalledAnswersEndWithTheDeadline) {
  const std::string good = AnswerOf("0", "abc");
  std::string bytes;
  Peer([&](const Request&) -> Reaction { return {bytes}; });
  for (const std::string& stalled :
       {""s, good.substr(0, 6), good.substr(0, good.size() - 1), "16777216:"s}) {
    bytes = stalled;
    SysMgrProxy proxy = Make(kShortMilliseconds);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Query(proxy), "-1 ") << stalled;
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(kShortMilliseconds - 1)) << stalled;
    EXPECT_LT(waited, std::chrono::milliseconds(kShortMilliseconds + 2000)) << stalled;
    // Nobody waits a second time.
    const std::size_t asked = peer_->Requests().size();
    EXPECT_EQ(Query(proxy), "-1 ") << stalled;
    EXPECT_EQ(Set(proxy), "-1 " + ForBothKeys(kNotReached)) << stalled;
    EXPECT_EQ(peer_->Requests().size(), asked) << stalled;
  }
}

// What comes late, or without being asked for, is the answer to nothing.
TEST_F(Proxy, AnAnswerIsNeverTakenForAnother) {
  Peer([&](const Request& request) -> Reaction {
    const std::string answer = AnswerOf("0", request[4]);
    if (request[4] == "twice") return {answer + AnswerOf("0", "stale")};
    if (request[4] == "part") return {answer + "9"};
    if (request[4] == "silence") return {""};
    return {answer, 0, request[4] == "close"};
  });
  for (const std::string rude : {"twice", "part", "silence", "close"}) {
    SysMgrProxy proxy = Make(kShortMilliseconds);
    const bool silent = rude == "silence";
    EXPECT_EQ(Query(proxy, rude), silent ? "-1 " : "0 " + rude);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // until the peer has closed
    EXPECT_EQ(Query(proxy, "own"), silent ? "-1 " : "0 own") << "after " << rude;
  }
  EXPECT_EQ(peer_->Requests().size(), 7U) << "no request is sent twice";
}

TEST_F(Proxy, WithoutAPeer) {
  for (const std::string& path :
       {folder_.Path() + "/none", folder_.Write("file", ""), "/" + std::string(200, 'p'), ""s}) {
    SysMgrProxy proxy("Vistel", service_, "", path, kLongMilliseconds);
    EXPECT_EQ(Query(proxy), "-1 ") << path;
    EXPECT_EQ(Set(proxy), "-1 " + ForBothKeys(kNotReached)) << path;
    std::string reply;
    EXPECT_EQ(proxy.sSetKey("client", "one", "", reply), -1) << path;
    EXPECT_EQ(reply, kNotReached) << path;
  }
  // Comes up later.
  SysMgrProxy proxy = Make(kLongMilliseconds);
  EXPECT_EQ(Query(proxy), "-1 ");
  Peer([](const Request&) -> Reaction { return {AnswerOf("0", "up")}; });
  EXPECT_EQ(Query(proxy), "0 up");
}

TEST_F(Proxy, SizeLimits) {
  Peer([](const Request& request) -> Reaction {
    return {AnswerOf("0", std::string(request[4] == "most" ? (16U << 20) - 14 : 0, 'x'))};
  });
  SysMgrProxy proxy = Make(kLongMilliseconds);
  EXPECT_EQ(Query(proxy, "most").size(), 2 + (16U << 20) - 14);
  // 5:query,6:Vistel,0:,6:client,<7 digits>:...,1:0,
  constexpr std::size_t kFrame = 8 + 9 + 3 + 9 + 9 + 4;
  EXPECT_EQ(Query(proxy, std::string((1U << 20) - kFrame, 'q')), "0 ");
  EXPECT_EQ(Query(proxy, std::string((1U << 20) - kFrame + 1, 'q')), "-1 ");
  EXPECT_EQ(peer_->Requests().size(), 2U) << "the request beyond the limit was not sent";
}

TEST_F(Proxy, Results) {
  const std::string refused = ForBothKeys(kRefused);
  const std::string notAnswered = "-1 " + ForBothKeys(kNotAnswered);
  const struct {
    const char* result;
    std::string answer, expected;
  } rows[] = {
      {"0", ColumnText({"", ""}), "0 [][]"},
      {"0", ColumnText({"", "bad"}), "0 [][bad]"},
      {"0", ColumnText({"", "", "together"}), "0 [][][together]"},
      {"1", ColumnText({"bad", ""}), "1 " + refused},
      {"2", "no", "2 " + refused},
      {"3", ColumnText({"", ""}), "3 " + refused},
      {"0", "", notAnswered},
      {"0", "one row", notAnswered},
      {"0", "\x01 broken", notAnswered},
      {"0",
       "\x01"
       "2:2:0:,0:,0:,0:,",
       notAnswered},
  };
  for (const auto& row : rows) {
    Peer([&](const Request&) -> Reaction { return {AnswerOf(row.result, row.answer)}; });
    SysMgrProxy proxy = Make(kLongMilliseconds);
    EXPECT_EQ(Set(proxy), row.expected) << row.answer;
    EXPECT_EQ(Query(proxy), row.result + " "s + (row.result == "0"s ? row.answer : ""));
    EXPECT_EQ(proxy.LastMessage(), row.result == "0"s ? "" : row.answer);
  }
}

// The service that the program hands to the proxy: refuses everything, and has two ways to start.
TEST(SvcMgrFunctions, OffersNothing) {
  SvcMgrFunctions functions;
  SvcMgrInterface& base = functions;
  std::string reply = "untouched";
  EXPECT_NE(base.sQueryKey("c", "k", "0", reply), 0);
  EXPECT_EQ(reply, "");
  EXPECT_NE(base.sSetKey("c", "k", "v", reply), 0);
  EXPECT_NE(base.command(SvcMgrCommand::kReload, reply, ""), 0);
  Config::Node node;
  Config::Node* answer = &node;
  EXPECT_NE(base.sQueryKey("c", Config::Key::Key("k"), "0", answer), 0);
  EXPECT_EQ(answer, nullptr);

  Config::Tree tree;
  EXPECT_EQ(functions.start(&std::as_const(tree)), 0);
  EXPECT_EQ(base.state(), SvcMgrState::kStopped) << "the program's own start does nothing";
  EXPECT_EQ(base.start(&tree), 0);
  EXPECT_EQ(base.stop(), 0);
  EXPECT_EQ(base.state(), SvcMgrState::kRunning) << "the base's start is the base's";
}
