// SPDX-License-Identifier: MIT
//
// The client library of the system manager: its text helpers, the texts of its protocol, and the
// proxy with peers that answer and with peers that fail in every way. More answers and most
// malformed texts are in the corpora of the fuzz targets `frame` and `platform`.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Characters.h"
#include "base/Utf8.h"
#include "main/SvcMgrFunctions.h"
#include "platform/ConfigKey.h"
#include "platform/Netstring.h"
#include "platform/RegExp.h"
#include "platform/StringEscaper.h"
#include "platform/StringTable.h"
#include "platform/StringVector.h"
#include "platform/SysMgrProxy.h"
#include "tests/FakeSystemManager.h"
#include "tests/TestFolder.h"

using namespace std::string_literals;

namespace {

using Cells = std::vector<std::string>;
using Request = FakeSystemManager::Request;

constexpr int kDeadlineMilliseconds = 150;

// In the form that Proxy::Set returns.
constexpr char kNotReached[] =
    "-1 The system manager could not be reached; the setting was not stored.|";
constexpr char kNotAnswered[] =
    "-1 The system manager did not answer; the setting may or may not be stored.|";

std::vector<Cells> RowsOf(const StringTable& table) {
  std::vector<Cells> rows(table.Rows());
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned i = 0; i < table.Columns(); ++i) rows[row].push_back(table.Get(row, i));
  }
  return rows;
}

class Proxy : public testing::Test {
 protected:
  SysMgrProxy Make(const std::string& authFile = "",
                   const std::string& path = FakeSystemManager::kSocket) {
    return SysMgrProxy("Vistel", service_, authFile, path, kDeadlineMilliseconds);
  }

  // "result reply"
  static std::string Query(SysMgrProxy& proxy, const std::string& query = "k") {
    std::string reply = "untouched";
    const int result = proxy.sQueryKey("client", query, "0", reply);
    return std::to_string(result) + " " + reply;
  }

  // The results of several queries, one after the other or asked ahead.
  static Cells QueryAll(SysMgrProxy& proxy, const Cells& keys, bool ahead) {
    Cells results;
    StringTable table;
    std::size_t asked = 0;
    for (const std::string& key : keys) asked += ahead && proxy.Ask("client", key, "0") ? 1 : 0;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const int result =
          i < asked ? proxy.TakeAnswer(table) : proxy.sQueryKey("client", keys[i], "0", table);
      results.push_back(std::to_string(result) + " " + table.Serialize() + proxy.LastMessage());
    }
    return results;
  }

  // The same for setting two keys: the rows of the reply, only one if both are the same.
  static std::string Set(SysMgrProxy& proxy) {
    std::string reply;
    const int result =
        proxy.sSetKey("client", TableText(1, {{"k"}, {"l"}}), TableText(1, {{"1"}, {"2"}}), reply);
    std::vector<Cells> rows = RowsOf(StringTable(reply, StringTable::kSerialized));
    if (rows.size() == 2 && rows[0] == rows[1]) rows.pop_back();
    std::string text = std::to_string(result) + " ";
    for (const Cells& row : rows) text += row[0] + "|";
    return text;
  }

  const TestFolder folder_{testing::TempDir() + "vistel-platform"};
  SvcMgrFunctions service_;
};

}  // namespace

TEST(RegExp, MatchesAndCaptures) {
  const Cells untouched = {"untouched"};
  const struct {
    std::string pattern;
    int flags;
    std::string text;
    Cells groups;  // `untouched` for no match
  } rows[] = {
      {"^f.*y=(.*)$", 1, "f; y=a y=\"b\"", {"f; y=a y=\"b\"", "\"b\""}},
      {"^Ab*", 1, "abbb", untouched},
      {"^A(b)?", 1 | 2, "ac", {"a", ""}},
      {"(a)|(b)", 1, "xb", {"b", "", "b"}},
      {"^a.b$", 1, "a\nb", {"a\nb"}},
      {"b.c$", 1, "a\0bxc"s, {"bxc"}},
      {"a.c", 1, "a\0c"s, untouched},
      {"a+", 0, "aa+", {"a+"}},  // basic syntax: the plus is a character
      {"", 1, "", {""}},
      {"(", 1, "(", untouched},
  };
  for (const auto& row : rows) {
    Cells groups = untouched;
    const RegExp expression(row.pattern, row.flags);
    EXPECT_EQ(expression.Match(row.text, &groups), row.groups != untouched) << row.pattern;
    EXPECT_EQ(groups, row.groups) << row.pattern << " on " << row.text;
    EXPECT_EQ(expression.Match(row.text), row.groups != untouched) << row.pattern;
  }
}

// Eight plain bytes are looked at together: each byte, at each place among them.
TEST(Utf8, EachByte) {
  for (int code = 0; code < 256; ++code) {
    const bool isPlain = code >= ' ' && code < 0x7F;
    for (std::size_t place = 0; place < 18; ++place) {
      std::string text(18, '~');
      text[place] = static_cast<char>(code);
      std::string safe;
      Utf8::AppendSafe(safe, text);
      EXPECT_EQ(Utf8::IsSafe(text), isPlain) << code;
      if (!isPlain) text[place] = '?';
      EXPECT_EQ(safe, text) << code;
    }
  }
}

TEST(StringEscaper, EscapesExactlyTheGivenBytes) {
  EXPECT_EQ(StringEscaper("\\\"", '\\').Escape("a\\b\"c'\n\xE4\0"s), "a\\\\b\\\"c'\n\xE4\0"s);
  EXPECT_EQ(StringEscaper("x\0"s, '!').Escape("x\0y!"s), "!x!\0y!"s);
}

TEST(StringVector, SplitsAndJoins) {
  const std::pair<std::string, Cells> rows[] = {
      {"", {}},        {"a", {"a"}},      {"1,2,,3,", {"1", "2", "", "3", ""}},
      {",", {"", ""}}, {",a", {"", "a"}}, {"a\0,b"s, {"a\0"s, "b"}}};
  for (const auto& [text, pieces] : rows) {
    const StringVector vector(',', text);
    EXPECT_EQ(Cells(vector.begin(), vector.end()), pieces) << text;
    EXPECT_EQ(vector.Join(","), text);
  }
}

TEST(StringTable, SerializedForm) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const struct {
    unsigned columns;
    std::vector<Cells> rows;
    std::string text;
  } tables[] = {
      {0, {}, "\0010:0:"},
      {2, {}, "\0012:0:"},
      {65536, {}, "\00165536:0:"},
      {0, {{}, {}}, "\0010:2:"},
      {1, {{""}}, ""},
      {1, {{all}}, all},
      {1, {{"\1"}}, "\0011:1:1:\1,"},
      {2, {{"a", "b"}, {"c", ""}}, "\0012:2:1:a,1:b,1:c,0:,"},
      {2, {{"", ""}}, "\0012:1:0:,0:,"},
      {1, {{""}, {all}}, "\0011:2:0:,256:" + all + ","},
  };
  for (const auto& [columns, rows, text] : tables) {
    EXPECT_EQ(TableText(columns, rows), text);
    const StringTable table(text, StringTable::kSerialized);
    EXPECT_EQ(table.Columns(), columns) << text;
    EXPECT_EQ(RowsOf(table), rows) << text;
  }
}

TEST(StringTable, CellsThatAreNotThereAreEmpty) {
  StringTable table(2);
  table.AddRow("a", "b");
  table.AddRow(static_cast<const char*>(nullptr), static_cast<const char*>(nullptr));
  table.AddCells({"c"});
  table.AddCells({"d", "e", "beyond"});
  EXPECT_EQ(RowsOf(table), (std::vector<Cells>{{"a", "b"}, {"", ""}, {"c", ""}, {"d", "e"}}));
  EXPECT_EQ(table.Get(0, 2) + table.Get(4, 0) + table.Get(~0U, 0), "");
  EXPECT_EQ(table.Get(0, ~0U) + table.Get(~0U, ~0U), "");
  StringTable moved = std::move(table);
  EXPECT_EQ(table.Get(0, 0), "");  // NOLINT: tests that this is safe
  EXPECT_EQ(moved.Get(0, 1), "b");
}

TEST(Key, ValuesAndAddresses) {
  const Config::Key::Key key("t{n=%2C%7d%00%25.{;: =\xFF}:a=1:b=2:a=3");
  EXPECT_EQ(key.Selectors().at(0).value, ",}\0%.{;: =\xFF"s);
  EXPECT_EQ(key.Options().at(2).value, "3");
  EXPECT_TRUE(EqualIgnoringCase("00:0b:3B:7f:aA:Ff", "00:0B:3b:7F:Aa:fF"));
  EXPECT_FALSE(EqualIgnoringCase("00:00:5E:00:53:02", "00:00:5E:00:53:03"));
  EXPECT_FALSE(EqualIgnoringCase("00:00:5E:00:53:02", "00:00:5E:00:53:0"));
  EXPECT_FALSE(EqualIgnoringCase("[", "{")) << "letters only";
}

TEST_F(Proxy, RequestsAndAnswers) {
  FakeSystemManager peer;
  const std::string keys = TableText(1, {{"k"}, {"l"}});
  peer.replies = {{"a\0b"s, "\0!"s}, {keys, TableText(1, {{""}, {"wrong"}})}};
  SysMgrProxy proxy = Make(folder_.Write("rpcauth", "se\ncret\n\n"));
  EXPECT_EQ(peer.connections, 0U) << "nothing is connected before the first request";
  EXPECT_EQ(Query(proxy, "other"), "1 ");
  EXPECT_EQ(proxy.LastMessage(), "unknown key");
  EXPECT_EQ(Query(proxy, "a\0b"s), "0 \0!"s);
  EXPECT_EQ(proxy.LastMessage(), "");
  EXPECT_EQ(Set(proxy), "0 |wrong|");
  EXPECT_EQ(peer.connections, 1U);
  const std::vector<Request> expected = {
      {"query", "Vistel", "se\ncret\n", "client", "other", "0"},
      {"query", "Vistel", "se\ncret\n", "client", "a\0b"s, "0"},
      {"set", "Vistel", "se\ncret\n", "client", keys, TableText(1, {{"1"}, {"2"}})},
  };
  EXPECT_EQ(peer.requests, expected);
}

TEST_F(Proxy, AuthorisationFile) {
  ASSERT_EQ(mkfifo(folder_.Path("fifo").c_str(), 0600), 0);
  const std::string longest(4096, 's');
  const std::pair<std::string, std::string> rows[] = {
      {folder_.Path("missing"), ""},
      {folder_.Path(), ""},
      {folder_.Path("fifo"), ""},
      {folder_.Write("newline", "\n"), ""},
      {folder_.Write("bytes", "a\0b\r\n"s), "a\0b\r"s},
      {folder_.Write("longest", longest), longest},
      {folder_.Write("longest-line", longest + "\n"), longest},
      {folder_.Write("longer", longest + "s"), ""},
      {folder_.Write("longer-line", longest + "s\n"), ""},
  };
  FakeSystemManager peer;
  for (const auto& [file, authorisation] : rows) {
    SysMgrProxy proxy = Make(file);
    Query(proxy);
    EXPECT_EQ(peer.requests.back()[2], authorisation) << file;
  }
}

TEST_F(Proxy, StalledAnswersEndWithTheDeadline) {
  constexpr std::size_t kAll = std::string::npos;
  const std::string good = AnswerOf("0", "abc");
  const struct {
    const char* what;
    std::string bytes;
    FakeSystemManager::Manners manners;
    int waited = kDeadlineMilliseconds;  // less if the answer comes in time
    const char* set = kNotAnswered;
  } rows[] = {
      {"silence", "", {}},
      {"half an answer", good.substr(0, 6), {}},
      {"all but the last byte", good.substr(0, good.size() - 1), {}},
      {"an announcement", "16777216:", {}},
      {"each byte a bit late", good, {false, 0, kAll, 1, 30}},
      {"two pieces", good, {false, 0, kAll, 7, 30}, 60},
      {"a full queue", good, {false, 999}, kDeadlineMilliseconds, kNotReached},
      {"a queue that was full", good, {false, 135}, 140},
      {"half a request", good, {false, 0, 20}, kDeadlineMilliseconds, kNotReached},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FakeSystemManager peer;
    peer.manners = row.manners;
    peer.otherwise = row.bytes;
    SysMgrProxy proxy = Make();
    const bool inTime = row.waited < kDeadlineMilliseconds;
    EXPECT_EQ(Query(proxy), inTime ? "0 abc" : "-1 ");
    EXPECT_EQ(peer.milliseconds, row.waited);
    if (inTime) continue;
    // The proxy doesn't wait a second time.
    const std::size_t asked = peer.requests.size();
    EXPECT_EQ(Query(proxy) + Set(proxy), "-1 "s + kNotReached);
    EXPECT_EQ(peer.requests.size(), asked);
    EXPECT_EQ(peer.milliseconds, row.waited);
    SysMgrProxy another = Make();
    EXPECT_EQ(Set(another), row.set);
  }
}

// Late bytes, and bytes without a request, are not taken for an answer.
TEST_F(Proxy, AnAnswerIsNeverTakenForAnother) {
  const std::string good = AnswerOf("0", "good");
  const std::string stale = AnswerOf("0", "stale");
  const struct {
    std::string bytes;
    bool close;
    const char* first;
  } rows[] = {
      {good + stale, false, "0 good"},
      {good + "9", false, "0 good"},
      {good, true, "0 good"},
      {"", true, "-1 "},
      {good.substr(0, 9), true, "-1 "},
      {"5:hello," + stale, false, "-1 "},
      {AnswerOf("00", "good") + stale, false, "-1 "},
      {AnswerOf("0", "\0011:1:5:a,"), false, "-1 "},
      {AnswerOf("0", "\0011:4:0:,0:,0:,0:,"), true, "0 \0011:4:0:,0:,0:,0:,"},
  };
  for (const auto& row : rows) {
    for (const std::size_t pieceBytes : {std::string::npos, good.size(), std::size_t{1}}) {
      SCOPED_TRACE(row.bytes + " " + std::to_string(pieceBytes));
      FakeSystemManager peer;
      peer.replies["own"] = "own";
      peer.otherwise = row.bytes;
      peer.manners.close = row.close;
      peer.manners.pieceBytes = pieceBytes;
      SysMgrProxy proxy = Make();
      EXPECT_EQ(Query(proxy), row.first);
      EXPECT_EQ(Query(proxy, "own"), "0 own");
      EXPECT_EQ(peer.connections, 2U);
      EXPECT_EQ(Set(proxy), kNotAnswered);
      EXPECT_EQ(Query(proxy, "own"), "0 own");
      EXPECT_EQ(peer.requests.size(), 4U) << "no request is sent twice";
    }
  }
}

// Whatever the peer does, the results are those of queries that wait for each other.
TEST_F(Proxy, QueriesAskedAhead) {
  const Cells keys = {"k", "l", "wrong", "l", "k", "wrong", "l", "m"};
  const struct {
    std::string wrong;  // the answer to the key "wrong"
    FakeSystemManager::Manners manners;
    unsigned connections;
    std::size_t most;  // requests
  } rows[] = {
      {AnswerOf("1", "unknown key"), {}, 1, 8},
      {AnswerOf("0", TableText(2, {{"a", "b"}})), {false, 0, std::string::npos, 1}, 1, 8},
      {AnswerOf("0", "x"), {true}, 3, 8},
      {"", {true}, 4, 9},
      {"nonsense", {}, 4, 9},
      {AnswerOf("0", "\0011:4:0:,"), {}, 4, 14},
      {"", {}, 1, 3},
      {"9:", {false, 0, std::string::npos, 100, 30}, 1, 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.wrong + std::to_string(row.manners.close));
    Cells results[2];
    for (const bool ahead : {false, true}) {
      FakeSystemManager peer;
      peer.replies = {{"k", "K"}, {"l", std::string(300, 'L')}, {"m", "\0010:0:"}};
      peer.otherwise = row.wrong;
      peer.manners = row.manners;
      SysMgrProxy proxy = Make();
      results[ahead ? 1 : 0] = QueryAll(proxy, keys, ahead);
      EXPECT_LE(peer.milliseconds, 2 * kDeadlineMilliseconds);
      if (!ahead) continue;
      EXPECT_EQ(peer.connections, row.connections);
      EXPECT_EQ(peer.requests.size(), row.most);
    }
    EXPECT_EQ(results[0], results[1]);
  }
}

TEST_F(Proxy, WithoutAPeer) {
  std::optional<FakeSystemManager> peer;
  peer.emplace();
  for (const std::string& path : {"/none"s, FakeSystemManager::kSocket + std::string(200, 'p')}) {
    SysMgrProxy proxy = Make("", path);
    EXPECT_EQ(Query(proxy) + Set(proxy), "-1 "s + kNotReached) << path;
  }
  peer.reset();
  SysMgrProxy proxy = Make();
  EXPECT_EQ(Query(proxy) + Set(proxy), "-1 "s + kNotReached);
  peer.emplace().replies["k"] = "up";
  EXPECT_EQ(Query(proxy), "0 up") << "it comes up later";
}

TEST_F(Proxy, SizeLimits) {
  FakeSystemManager peer;
  peer.replies["most"] = std::string((16U << 20) - 14, 'x');
  peer.otherwise = AnswerOf("0", "");
  SysMgrProxy proxy = Make();
  EXPECT_EQ(Query(proxy, "most").size(), 2 + (16U << 20) - 14);
  // 5:query,6:Vistel,0:,6:client,<7 digits>:...,1:0,
  constexpr std::size_t kFrame = 8 + 9 + 3 + 9 + 9 + 4;
  EXPECT_EQ(Query(proxy, std::string((1U << 20) - kFrame, 'q')), "0 ");
  EXPECT_EQ(Query(proxy, std::string((1U << 20) - kFrame + 1, 'q')), "-1 ");
  EXPECT_EQ(peer.requests.size(), 2U) << "the request beyond the limit was not sent";
  std::size_t ahead = 0;
  while (ahead < 9 && proxy.Ask("client", std::string(4000, 'k'), "0")) ++ahead;
  EXPECT_EQ(ahead, SysMgrProxy::kMaxAheadBytes / 4096);
}
