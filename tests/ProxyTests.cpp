// SPDX-License-Identifier: MIT
//
// The proxy to the system manager, against peers that answer, and against all kinds that don't.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <string>
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

const std::string kNotReached =
    "The system manager could not be reached; the setting was not stored.";
const std::string kNotAnswered =
    "The system manager did not answer; the setting may or may not be stored.";
const std::string kRefused = "The system manager refused the request; the setting was not stored.";

Cells ColumnOf(const std::string& text) {
  const StringTable table(text, StringTable::kSerialized);
  Cells cells;
  for (unsigned row = 0; row < table.Rows(); ++row) cells.push_back(table.Get(row, 0));
  return cells;
}

std::string ColumnText(const Cells& cells) {
  StringTable table(1);
  for (const std::string& cell : cells) table.AddRow(cell.c_str());
  return table.Serialize();
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
  const std::string secret = folder_.Write("rpcauth", "se\ncret\n\n");
  const SysMgrProxy unused("Vistel", service_, secret, path_);
  SysMgrProxy proxy = Make(kLongMilliseconds, secret);
  EXPECT_EQ(peer_->Connections(), 0U) << "nothing is connected before the first request";
  EXPECT_EQ(Query(proxy, "a\0b"s), "0 a\0b!"s);
  EXPECT_EQ(Query(proxy, "large"), "0 " + large);
  std::string reply;
  EXPECT_EQ(proxy.sSetKey("client", ColumnText({"k", "l"}), ColumnText({"1", "2"}), reply), 0);
  EXPECT_EQ(ColumnOf(reply), Cells({"", "wrong"}));
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
  const std::pair<std::string, std::string> rows[] = {
      {folder_.Path() + "/missing", ""},
      {folder_.Path(), ""},
      {folder_.Path() + "/fifo", ""},
      {folder_.Write("empty", ""), ""},
      {folder_.Write("newline", "\n"), ""},
      {folder_.Write("plain", "secret"), "secret"},
      {folder_.Write("bytes", "a\0b\r\n"s), "a\0b\r"s},
      {folder_.Write("longest", std::string(4096, 's')), std::string(4096, 's')},
      {folder_.Write("longest-line", std::string(4096, 's') + "\n"), std::string(4096, 's')},
      {folder_.Write("longer", std::string(4097, 's')), ""},
      {folder_.Write("longer-line", std::string(4097, 's') + "\n"), ""},
  };
  Peer([](const Request& request) -> Reaction { return {AnswerOf("0", request[2])}; });
  for (const auto& [file, authorisation] : rows) {
    SysMgrProxy proxy = Make(kLongMilliseconds, file);
    EXPECT_EQ(Query(proxy), "0 " + authorisation) << file;
  }
}

TEST_F(Proxy, AnswersInPieces) {
  const std::string reply(5000, 'r');
  for (std::size_t pieceBytes : {1U, 2U, 3U, 7U, 4095U, 4096U, 4097U}) {
    Peer([&](const Request&) -> Reaction { return {AnswerOf("0", reply), pieceBytes}; });
    SysMgrProxy proxy = Make(kLongMilliseconds);
    EXPECT_EQ(Query(proxy), "0 " + reply) << pieceBytes;
    EXPECT_EQ(Query(proxy), "0 " + reply) << pieceBytes;
    EXPECT_EQ(peer_->Connections(), 1U) << pieceBytes;
  }
}

// Each of these is a failed call, soon and without a signal, and the next call works again.
TEST_F(Proxy, FailedAnswers) {
  const std::string good = AnswerOf("0", "good");
  std::vector<std::string> bad = {
      "x",
      "0:,",
      "5:hello,",
      "3:0:,,",
      "6:0:,0:,,",
      "7:1:0,0:,x",
      "8:1:0,0:,x,",
      "16777217:",
      "4294967296:",
      std::string(100, '9'),
      std::string(100, '0'),
      AnswerOf("", "r"),
      AnswerOf("-1", "r"),
      AnswerOf("+0", "r"),
      AnswerOf("0 ", "r"),
      AnswerOf("zero", "r"),
      AnswerOf("1234567890", "r"),
      AnswerOf("00", "r"),
      AnswerOf(std::string(1000, '0'), "r"),
  };
  for (std::size_t size = 0; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  std::size_t index = 0;
  Peer([&](const Request& request) -> Reaction {
    if (request[4] == "good") return {good};
    return {bad[index], 0, true};
  });
  for (index = 0; index < bad.size(); ++index) {
    SysMgrProxy proxy = Make(kLongMilliseconds);
    EXPECT_EQ(Query(proxy, "bad"), "-1 ") << bad[index];
    EXPECT_EQ(Query(proxy, "good"), "0 good") << "after " << bad[index];
    std::string reply;
    EXPECT_EQ(proxy.sSetKey("client", ColumnText({"a", "b"}), ColumnText({"1", "2"}), reply), -1);
    EXPECT_EQ(ColumnOf(reply), Cells({kNotAnswered, kNotAnswered})) << bad[index];
  }
}

// Any one byte changed: a failure, or an answer in which nothing but that byte differs.
TEST_F(Proxy, ChangedAnswers) {
  const std::string good = AnswerOf("0", "abc");
  std::string bytes;
  Peer([&](const Request&) -> Reaction { return {bytes, 0, true}; });
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const char byte : "\x01\xFF :,;0159-az\n"s) {
      bytes = good;
      bytes[i] = byte;
      SysMgrProxy proxy = Make(kLongMilliseconds);
      std::string reply;
      const int result = proxy.sQueryKey("client", "k", "0", reply);
      if (result == SysMgrProxy::kFailed) continue;
      const std::string kept = result == 0 ? reply : proxy.LastMessage();
      EXPECT_EQ(AnswerOf(std::to_string(result), kept), bytes);
    }
  }
}

TEST_F(Proxy, StalledAnswersEndWithTheDeadline) {
  const std::string good = AnswerOf("0", "abc");
  std::size_t size = 0;
  std::size_t pieceBytes = 0;
  std::string bytes;
  Peer([&](const Request&) -> Reaction { return {bytes.substr(0, size), pieceBytes}; });
  const struct {
    const char* what;
    std::string bytes;
    std::size_t size;
  } rows[] = {
      {"silence", good, 0},
      {"half an answer", good, 6},
      {"all but the last byte", good, good.size() - 1},
      {"the largest answer, announced", "16777216:", 9},
  };
  for (const auto& row : rows) {
    bytes = row.bytes;
    size = row.size;
    SysMgrProxy proxy = Make(kShortMilliseconds);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Query(proxy), "-1 ") << row.what;
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(kShortMilliseconds - 1)) << row.what;
    EXPECT_LT(waited, std::chrono::milliseconds(kShortMilliseconds + 2000)) << row.what;
    // Nobody waits a second time.
    const std::size_t asked = peer_->Requests().size();
    EXPECT_EQ(Query(proxy), "-1 ") << row.what;
    std::string reply;
    EXPECT_EQ(proxy.sSetKey("client", ColumnText({"k"}), ColumnText({"1"}), reply), -1);
    EXPECT_EQ(ColumnOf(reply), Cells({kNotReached})) << row.what;
    EXPECT_EQ(peer_->Requests().size(), asked) << row.what;
  }
}

// What comes late, or without being asked for, is the answer to nothing.
TEST_F(Proxy, AnAnswerIsNeverTakenForAnother) {
  unsigned count = 0;
  Peer([&](const Request& request) -> Reaction {
    ++count;
    if (request[4] == "twice") return {AnswerOf("0", "twice") + AnswerOf("0", "stale")};
    if (request[4] == "part") return {AnswerOf("0", "part") + "9"};
    if (request[4] == "silence") return {""};
    if (request[4] == "close") return {AnswerOf("0", "close"), 0, true};
    return {AnswerOf("0", request[4])};
  });
  for (const std::string rude : {"twice", "part", "silence", "close"}) {
    SysMgrProxy proxy = Make(kShortMilliseconds);
    const bool silent = rude == "silence";
    EXPECT_EQ(Query(proxy, rude), silent ? "-1 " : "0 " + rude);
    EXPECT_EQ(Query(proxy, "own"), silent ? "-1 " : "0 own") << "after " << rude;
  }
  EXPECT_EQ(count, 7U) << "no request is sent twice";
}

TEST_F(Proxy, WithoutAPeer) {
  const std::string keys = ColumnText({"a", "b", "c"});
  const struct {
    const char* what;
    std::string path;
  } rows[] = {
      {"no such file", folder_.Path() + "/none"},
      {"no socket", folder_.Write("file", "")},
      {"a path longer than a socket's", "/" + std::string(200, 'p')},
      {"no path", ""},
  };
  for (const auto& row : rows) {
    SysMgrProxy proxy("Vistel", service_, "", row.path, kLongMilliseconds);
    EXPECT_EQ(Query(proxy), "-1 ") << row.what;
    std::string reply;
    EXPECT_EQ(proxy.sSetKey("client", keys, keys, reply), -1) << row.what;
    EXPECT_EQ(ColumnOf(reply), Cells(3, kNotReached)) << row.what;
    EXPECT_EQ(proxy.sSetKey("client", "one", "", reply), -1) << row.what;
    EXPECT_EQ(reply, kNotReached) << row.what;
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
  std::string reply;
  EXPECT_EQ(proxy.sSetKey("client", "key", std::string(1U << 20, 'v'), reply), -1);
  EXPECT_EQ(reply, kNotReached);
}

TEST_F(Proxy, Results) {
  std::string result;
  std::string answer;
  Peer([&](const Request&) -> Reaction { return {AnswerOf(result, answer)}; });
  SysMgrProxy proxy = Make(kLongMilliseconds);
  result = "2";
  answer = "wrong authorisation";
  EXPECT_EQ(Query(proxy), "2 ");
  EXPECT_EQ(proxy.LastMessage(), "wrong authorisation");

  const struct {
    const char* what;
    std::string result, answer;
    int expected;
    Cells rows;
  } rows[] = {
      {"stored", "0", ColumnText({"", ""}), 0, {"", ""}},
      {"refused by value", "0", ColumnText({"", "bad"}), 0, {"", "bad"}},
      {"refused as a batch", "0", ColumnText({"", "", "together"}), 0, {"", "", "together"}},
      {"refused with a table", "1", ColumnText({"bad", ""}), 1, {kRefused, kRefused}},
      {"refused with a message", "2", "no", 2, {kRefused, kRefused}},
      {"refused with a table without a text", "3", ColumnText({"", ""}), 3, {kRefused, kRefused}},
      {"success without a table", "0", "", -1, {kNotAnswered, kNotAnswered}},
      {"success with too few rows", "0", "x", -1, {kNotAnswered, kNotAnswered}},
      {"success with a broken table", "0", "\x01", -1, {kNotAnswered, kNotAnswered}},
      {"success with two columns",
       "0",
       "\x01"
       "2:2:0:,0:,0:,0:,",
       -1,
       {kNotAnswered, kNotAnswered}},
  };
  for (const auto& row : rows) {
    result = row.result;
    answer = row.answer;
    std::string reply;
    EXPECT_EQ(proxy.sSetKey("client", ColumnText({"a", "b"}), ColumnText({"1", "2"}), reply),
              row.expected)
        << row.what;
    EXPECT_EQ(ColumnOf(reply), row.rows) << row.what;
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
  Config::Node node;
  Config::Node* answer = &node;
  EXPECT_NE(base.sQueryKey("c", Config::Key::Key("k"), "0", answer), 0);
  EXPECT_EQ(answer, nullptr);
  EXPECT_NE(base.command(SvcMgrCommand::kReload, reply, ""), 0);

  Config::Tree tree;
  const Config::Tree& constantTree = tree;
  EXPECT_EQ(base.state(), SvcMgrState::kStopped);
  EXPECT_EQ(functions.start(&constantTree), 0);
  EXPECT_EQ(base.state(), SvcMgrState::kStopped) << "the program's own start does nothing";
  EXPECT_EQ(base.start(&tree), 0);
  EXPECT_EQ(base.state(), SvcMgrState::kRunning) << "the base's start is the base's";
  EXPECT_EQ(base.stop(), 0);
  EXPECT_EQ(base.state(), SvcMgrState::kRunning) << "the program's stop does nothing";
}
