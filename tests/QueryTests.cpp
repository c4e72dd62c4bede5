// SPDX-License-Identifier: MIT
//
// Queries and settings: the executor, the escaping of values, and the submission of a form, with a
// system manager of the test's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "main/SettingsSubmission.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/OutputText.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "request/RequestHandler.h"
#include "tests/FakeSystemManager.h"
#include "tests/TestFolder.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"

using namespace std::string_literals;

namespace {

using Reaction = FakeSystemManager::Reaction;
using Request = FakeSystemManager::Request;

constexpr unsigned kMilliseconds = 5000;

StringTable Table(const std::vector<std::vector<std::string>>& rows) {
  StringTable table(rows.empty() ? 0 : static_cast<unsigned>(rows[0].size()));
  for (const auto& row : rows) {
    table.AddCells(std::vector<std::string_view>(row.begin(), row.end()));
  }
  return table;
}

std::string Take(char* text) {
  const std::string result = text != nullptr ? text : "(null)";
  std::free(text);
  return result;
}

// Puts a proxy to the test's system manager in the place of the program's.
class WithSystemManager : public testing::Test {
 protected:
  WithSystemManager()
      : folder_(testing::TempDir() + "vistel-query"),
        peer_(folder_.Path() + "/socket", [this](const Request& request) -> Reaction {
          const auto answer = answers_.find(request[4]);
          if (answer == answers_.end()) return {AnswerOf("1", "unknown key")};
          return {AnswerOf("0", answer->second)};
        }) {
    UseSocket(folder_.Path() + "/socket");
  }

  ~WithSystemManager() override {
    gVariables = WGLVariables();
    UseSocket("");
  }

  void UseSocket(const std::string& path) {
    gSysMgr.~SysMgrProxy();
    new (&gSysMgr) SysMgrProxy("Vistel", service_, "", path, kMilliseconds);
  }

  void Answer(const std::string& query, const StringTable& table) {
    answers_[query] = table.Serialize();
  }

  std::string Query(const std::string& query, const char* otype) {
    char* out = nullptr;
    executor_.ExecuteQuery(&out, query, otype);
    return Take(out);
  }

  std::string Do2(const std::string& body) {
    char* out = nullptr;
    executor_.ExecuteQueryDo2(&out, body);
    return Take(out);
  }

  TestFolder folder_;
  SvcMgrFunctions service_;
  std::map<std::string, std::string> answers_;
  FakeSystemManager peer_;
  WGLQueryExecutor executor_{yywglerror};
};

using Queries = WithSystemManager;
using Submission = WithSystemManager;

}  // namespace

TEST_F(Queries, TheThreeFunctions) {
  Answer(Table({{"k"}, {"l"}}).Serialize(), Table({{"1", "2"}}));
  Answer("bare", Table({{"bare <text>"}}));
  const StringTable unknown("unknown", StringTable::kQueryText);
  EXPECT_EQ(SysMgr_Query(StringTable(" k ; l;", StringTable::kQueryText)).Get(0, 1), "2");
  EXPECT_EQ(SysMgr_QueryString(StringTable("bare", StringTable::kQueryText)), "bare <text>");
  EXPECT_EQ(SysMgr_QueryString(unknown), "");
  EXPECT_EQ(SysMgr_Query(unknown).Columns(), 0U);
  EXPECT_EQ(SysMgr_Set(Table({{"one"}}), Table({{"1"}})).Rows(), 1U);
  for (const Request& request : peer_.Requests()) {
    EXPECT_EQ(request[1] + " " + request[3], "Vistel Vistel");
    EXPECT_TRUE(request[0] == "set" || request[5] == "0");
  }
}

TEST_F(Queries, FirstRowAndRowCount) {
  const struct {
    StringTable table;
    const char *html, *json, *raw, *count;
  } rows[] = {
      {Table({{""}}), "", "", "", "0"},
      {StringTable(2), " ", " ", " ", "0"},
      {StringTable(), "", "", "", "0"},
      {Table({{}, {}}), "", "", "", "0"},
      {Table({{"<&\"'>\\"}}), "&lt;&amp;&quot;&#39;&gt;\\", "<&\\\"'>\\\\", "<&\"'>\\", "1"},
      {Table({{"a", "", "<"}, {"not", "this", "row"}}), "a  &lt;", "a  <", "a  <", "2"},
      {Table({{""}, {""}}), "", "", "", "2"},
      {Table({{"", ""}}), " ", " ", " ", "1"},
      {Table({{"a\0b"s, "\0"s, "c"}}), "ab  c", "ab  c", "ab  c", "1"},
  };
  for (const auto& row : rows) {
    Answer("t", row.table);
    EXPECT_EQ(Query("t", "html"), row.html);
    EXPECT_EQ(Query("t", "json"), row.json);
    EXPECT_EQ(Query("t", "raw"), row.raw);
    EXPECT_EQ(Query("t", "HTML"), row.raw);
    char* count = nullptr;
    executor_.ExecuteQueryRowcount(&count, "t");
    EXPECT_EQ(Take(count), row.count);
  }
  EXPECT_EQ(Query("unknown", "html") + Query("", "html"), "");
}

TEST_F(Queries, BodyForEachRow) {
  Answer("t", Table({{"x<", "1"}, {"y\"", "2"}}));
  Answer("empty", Table({{""}}));
  const std::string none = "${1x}${1}${001}${01a}${a}${01AA}${01 }${01A ${ROW ${row}$${01";
  const struct {
    const char *query, *otype;
    std::string body, expected;
  } rows[] = {
      {"t", "html", "${01};", "x&lt;;y&quot;;"},
      {"t", "raw", "${01};", "x<;y\";"},
      {"t", "json", "${01};", "x<;y\\\";"},
      {"t", "html", "${ROW}:${02A} ", "1:1 2:2 "},
      {"t", "html", "${01}${02}${01}", "x&lt;1x&lt;y&quot;2y&quot;"},
      {"t", "html", "[${03}${00}${99}${00A}${01B}${01Z}]", "[][]"},
      {"t", "html", none, none + none},
      {"t", "html", "$${02}${${ROW}", "$1${1$2${2"},
      {"t", "html", "${", "${${"},
      {"t", "html", "", ""},
      {"empty", "html", "[${01}${ROW}]", ""},
      {"unknown", "html", "[${01}${ROW}]", ""},
  };
  for (const auto& row : rows) {
    gVariables.Set("ROW", "before");
    executor_.ExecuteQueryDo1(row.query, row.otype);
    EXPECT_EQ(gVariables.Get("ROW", ""), "before") << row.body;
    EXPECT_EQ(Do2(row.body), row.expected);
    EXPECT_EQ(gVariables.Get("ROW", ""), "") << row.body;
  }
}

TEST_F(Queries, NestedSets) {
  Answer("outer", Table({{"A1<", "A2"}, {"B1", "B2"}}));
  Answer("inner", Table({{"i<"}, {"j"}, {"k"}}));
  executor_.ExecuteQueryDo1("outer", "html");
  executor_.ExecuteQueryDo1("inner", "raw");
  EXPECT_EQ(executor_.GetValueFromResults("01", 0), "A1&lt;");
  EXPECT_EQ(executor_.GetValueFromResults("01A", 1), "B1");
  EXPECT_EQ(executor_.GetValueFromResults("01B", 0), "i<");
  EXPECT_EQ(executor_.GetValueFromResults("02a", 0), "A2") << "no set is named";
  for (const std::string key : {"01C", "02B", "00", "", "x", "-1", "99999999999"}) {
    EXPECT_EQ(executor_.GetValueFromResults(key, 0), "") << key;
  }
  EXPECT_EQ(executor_.GetValueFromResults("01", 7), "");
  // The row is the innermost one's, whatever set is named.
  EXPECT_EQ(Do2("${01A}-${01B}-${01C};"), "A1&lt;-i<-;B1-j-;-k-;");
  EXPECT_EQ(Do2("${02A}-${01B};"), "A2-;B2-;");
  EXPECT_EXIT(Do2("x"), testing::ExitedWithCode(1), "");

  for (int set = 0; set < 27; ++set) executor_.ExecuteQueryDo1("outer", "raw");
  EXPECT_EQ(executor_.GetValueFromResults("02Z", 1), "B2");
  for (int set = 0; set < 27; ++set) EXPECT_EQ(Do2("${01}"), "A1<B1");
}

// Another way to do the same, for bodies and cells of all kinds.
TEST_F(Queries, EscapingInOneGoIsTheEscapersOwn) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  std::vector<std::string> values = {"", all, all + "abc", std::string(1000, '"')};
  for (const char special : "<>&\"'\\;\xBC\xA2=%?!#"s) {
    for (std::size_t size = 1; size <= 18; ++size) {
      for (std::size_t i = 0; i < size; ++i) {
        values.push_back(std::string(size, 'x'));
        values.back()[i] = special;
      }
    }
  }
  for (const char* mode : {"htmltext", "htmlesc", "json", "", "other"}) {
    const WGLEscaper escaper(mode);
    for (const std::string& value : values) {
      std::string text = "before";
      OutputText output;
      output.Append(text);
      output.AppendEscaped(escaper, value);
      output.AppendNumber(0);
      std::string expected = text + escaper.Escape(value) + "0";
      // A text of the page holds no NUL byte.
      expected.erase(std::remove(expected.begin(), expected.end(), '\0'), expected.end());
      ASSERT_EQ(Take(output.Release()), expected) << mode << " " << value;
    }
  }
  OutputText numbers;
  for (unsigned number : {0U, 9U, 10U, 4294967295U}) numbers.AppendNumber(number);
  EXPECT_EQ(Take(numbers.Release()), "09104294967295");
  EXPECT_EQ(Take(numbers.Release()), "");
}

TEST_F(Submission, Variables) {
  const struct {
    const char* request;
    std::vector<std::string> results;  // the rows of the answer; none: nothing is to be asked
    const char* expected;              // what is added behind the request
  } rows[] = {
      {"a=b&x:sys:y=1&:sys=2", {}, "[_errorcount=0]"},
      {":sys:Net.Name-2=<v>", {""}, "[_sys_Net_Name_2=&lt;v&gt;][_errorcount=0]"},
      {":sys:Net.Name-2=\"'%26&:sys:b=2",
       {"must be <1> & up", ""},
       "[_sys_Net_Name_2=&quot;&#39;&amp;][_error_Net_Name_2=must be &lt;1&gt; &amp; up]"
       "[_sys_b=2][_errorcount=1]"},
      {":sys:b=2&:sys:a=1",
       {"", "", "don't fit", "and more"},
       "[_sys_b=2][_sys_a=1][_error_consistency=don&#39;t fit][_errorcount=1]"},
      {":sys:a=1&:sys:b=2",
       {"no", "nor", "neither"},
       "[_sys_a=1][_error_a=no][_sys_b=2][_error_b=nor][_error_consistency=neither]"
       "[_errorcount=3]"},
      {":sys:a=1", {"", ""}, "[_sys_a=1][_errorcount=0]"},
      {":sys:=1", {"unknown"}, "[_sys_=1][_error_=unknown][_errorcount=1]"},
      {":sys:a\"<b>{x%3D;}=1",
       {"unknown"},
       "[_sys_a__b__x___=1][_error_a__b__x___=unknown][_errorcount=1]"},
  };
  for (const auto& row : rows) {
    gVariables = WGLVariables();
    RequestHandler(&gVariables).ParseQueryString(row.request);
    StringTable keys(1);
    for (const auto& [name, value] : gVariables) {
      if (name.rfind(":sys:", 0) == 0) keys.AddRow(name.c_str() + 5);
    }
    StringTable results(1);
    for (const std::string& result : row.results) results.AddRow(result.c_str());
    Answer(keys.Serialize(), results);
    RequestHandler(&gVariables).ParseQueryString("_okdir=od&_okpage=op&_okplain=&_oktype=ot");
    const auto requested = gVariables.end() - gVariables.begin();
    const std::size_t asked = peer_.Requests().size();
    SubmitSettings(gVariables);
    std::string added;
    for (auto entry = gVariables.begin() + requested; entry != gVariables.end(); ++entry) {
      added += "[" + entry->first + "=" + entry->second + "]";
    }
    const bool stored = gVariables.Get("_errorcount", "") == "0";
    EXPECT_EQ(added, row.expected + (stored ? "[_dir=od][_page=op][_type=ot]"s : ""));
    EXPECT_EQ(peer_.Requests().size(), asked + (row.results.empty() ? 0 : 1)) << row.request;
  }
}

TEST_F(Submission, IsOneBatchInTheOrderOfTheRequest) {
  RequestHandler(&gVariables).ParseQueryString(":sys:z=1&x=&:sys:a{b%3Dc}=&:sys:m=\xC3\n&:sys:z=2");
  SubmitSettings(gVariables);
  const std::vector<Request> expected = {{"set", "Vistel", "", "Vistel",
                                          Table({{"z"}, {"a{b=c}"}, {"m"}}).Serialize(),
                                          Table({{"2"}, {""}, {"\xC3\n"}}).Serialize()}};
  EXPECT_EQ(peer_.Requests(), expected);
  EXPECT_EQ(gVariables.Get(":sys:z", ""), "2") << "the request's own variables stay";
}
