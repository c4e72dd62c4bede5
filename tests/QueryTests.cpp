// SPDX-License-Identifier: MIT
//
// The queries of templates.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "query/OutputText.h"
#include "query/WGLQueryExecutor.h"
#include "tests/FakeSystemManager.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"

using namespace std::string_literals;

namespace {

std::string Take(char* text) {
  const std::string result = text != nullptr ? text : "(null)";
  std::free(text);
  return result;
}

class Queries : public testing::Test {
 protected:
  ~Queries() override { gVariables = WGLVariables(); }

  std::string Query(const std::string& query, const char* otype) const {
    char* out = nullptr;
    executor_.ExecuteQuery(&out, query, otype);
    return Take(out);
  }

  std::string Do2(const std::string& body) {
    char* out = nullptr;
    executor_.ExecuteQueryDo2(&out, body);
    return Take(out);
  }

  FakeSystemManager peer_;
  WGLQueryExecutor executor_{yywglerror};
};

}  // namespace

// No machine has so much memory. What comes afterwards must not pass for the whole text.
TEST(OutputText, IsLostAsAWhole) {
  OutputText text;
  text.Append("before");
  text.Append({"too large", std::string::npos});
  text.Append("after");
  EXPECT_EQ(text.Release(), nullptr);
}

TEST_F(Queries, FirstRowAndRowCount) {
  const std::string quotes(9999, '"');
  std::string html, json;
  for (std::size_t i = 0; i < quotes.size(); ++i) html += "&quot;", json += "\\\"";
  const std::pair<std::string, std::string> rows[] = {
      // A table; its first row as HTML, as JSON and as it is; the number of rows.
      {"", "|||0"},
      {"\0012:0:", " | | |0"},
      {"\0010:0:", "|||0"},
      {"\0010:2:", "|||0"},
      {"<&\"'>\\", "&lt;&amp;&quot;&#39;&gt;\\|<&\\\"'>\\\\|<&\"'>\\|1"},
      {quotes, html + "|" + json + "|" + quotes + "|1"},
      {TableText(3, {{"a", "", "<"}, {"not"}}), "a  &lt;|a  <|a  <|2"},
      {TableText(1, std::vector<std::vector<std::string>>(4321)), "|||4321"},
      {TableText(2, {{}}), " | | |1"},
      {TableText(3, {{"a", "<\0b"s, "c"}}), "a &lt;|a <|a <|1"},
  };
  const std::string query = " k ; l;";
  for (const auto& [table, expected] : rows) {
    peer_.replies[TableText(1, {{"k"}, {"l"}})] = table;
    char* count = nullptr;
    executor_.ExecuteQueryRowcount(&count, query);
    EXPECT_EQ(Query(query, "html") + "|" + Query(query, "json") + "|" + Query(query, "HTML") + "|" +
                  Take(count),
              expected);
  }
  EXPECT_EQ(Query("", "html"), "");
  EXPECT_EQ(Query("unknown", "html"), "");
  const FakeSystemManager::Request last = {"query", "Vistel", "", "Vistel", "unknown", "0"};
  EXPECT_EQ(peer_.requests.back(), last);
}

TEST_F(Queries, BodyForEachRow) {
  peer_.replies = {
      {"t", TableText(2, {{"x<", "1"}, {"y\"", "2"}})}, {"empty", ""}, {"nul", "a\0b"s}};
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
      {"nul", "html", "[${01}]", "[a"},
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
  peer_.replies = {{"outer", TableText(2, {{"A1<", "A2"}, {"B1", "B2"}})},
                   {"inner", TableText(1, {{"i<"}, {"j"}, {"k"}})}};
  executor_.ExecuteQueryDo1("outer", "html");
  executor_.ExecuteQueryDo1("inner", "raw");
  EXPECT_EQ(executor_.GetValueFromResults("01", 0), "A1&lt;");
  EXPECT_EQ(executor_.GetValueFromResults("01A", 1), "B1");
  EXPECT_EQ(executor_.GetValueFromResults("01B", 0), "i<");
  EXPECT_EQ(executor_.GetValueFromResults("02a", 0), "A2") << "no set is named";
  for (const char* key : {"01C", "02B", "00", "", "x", "-1", "99999999999"}) {
    EXPECT_EQ(executor_.GetValueFromResults(key, 0), "") << key;
  }
  EXPECT_EQ(executor_.GetValueFromResults("01", 7), "");
  // The row is that of the innermost set, whichever set is named.
  EXPECT_EQ(Do2("${01A}-${01B}-${01C};"), "A1&lt;-i<-;B1-j-;-k-;");
  EXPECT_EQ(Do2("${02A}-${01B};"), "A2-;B2-;");
  EXPECT_EXIT(Do2("x"), testing::ExitedWithCode(1), "");

  for (int set = 0; set < 27; ++set) executor_.ExecuteQueryDo1("outer", "raw");
  EXPECT_EQ(executor_.GetValueFromResults("02Z", 1), "B2");
  for (int set = 0; set < 27; ++set) EXPECT_EQ(Do2("${01}"), "A1<B1");
}
