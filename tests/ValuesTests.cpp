// SPDX-License-Identifier: MIT
//
// The variable store, the escaper, the segmented string and the reading of numbers.
// AddressSanitizer checks the ownership of a string's parts: one that is freed twice or never fails
// the test.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "base/Number.h"
#include "tests/Output.h"
#include "values/WGLEscaper.h"
#include "values/WGLString.h"
#include "values/WGLVariables.h"

using namespace std::string_literals;

TEST(WGLVariables, KeepsOrderAndReplacesInPlace) {
  WGLVariables variables;
  for (const auto& [name, value] : {std::pair("x"s, "1"s),
                                    {"y", "2"},
                                    {"x", "3"},
                                    {"X", "capital"},
                                    {"", "no name"},
                                    {"nul\0name"s, "a\0b"s},
                                    {"x", ""}}) {
    variables.Set(name, value);
  }
  std::string all;
  for (const auto& [name, value] : variables) all += name + "=" + value + ";";
  EXPECT_EQ(all, "x=;y=2;X=capital;=no name;nul\0name=a\0b;"s);
  const WGLVariables& constant = variables;
  EXPECT_EQ(constant.find("Y"), constant.end());
  EXPECT_EQ(constant.find("y"), constant.begin() + 1);
  variables.find("y")->second = "<\"";
  const char* const rows[][3] = {{"y", "", "<\""},
                                 {"y", "htmltext", "&lt;&quot;"},
                                 {"y", "fallback", "<\""},
                                 {"missing", "htmltext", ""}};
  for (const auto& [name, mode, expected] : rows) {
    EXPECT_EQ(constant.Get(name, mode), expected) << name << " " << mode;
  }
}

// An index exists from 129 entries on and grows at 257; the last number shows its cost.
TEST(WGLVariables, Many) {
  for (const int count : {128, 257, 100'000}) {
    WGLVariables variables;
    for (int i = 0; i < 2 * count; ++i) {
      const std::string name = std::to_string(i % count);
      EXPECT_EQ(variables.Get(name, ""), i < count ? "" : "first " + name);
      variables.Set(name, (i < count ? "first " : "second ") + name);
    }
    const WGLVariables copy = variables;
    ASSERT_EQ(copy.end() - copy.begin(), count);
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ((copy.begin() + i)->first, std::to_string(i));
      ASSERT_EQ(copy.Get(std::to_string(i), ""), "second " + std::to_string(i));
    }
    EXPECT_EQ(copy.find(std::to_string(count)), copy.end());
  }
}

// Escapes in both ways, which must agree.
static std::string Escaped(const char* mode, const std::string& value) {
  const WGLEscaper escaper(mode);
  std::string text(value.size() * escaper.Growth(), '\0');
  text.resize(static_cast<std::size_t>(escaper.EscapeTo(text.data(), value) - text.data()));
  EXPECT_EQ(escaper.Escape(value), text) << mode;
  return text;
}

TEST(WGLEscaper, Modes) {
  const std::string hostile = "a<b>\"c\"'&amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s;
  const std::pair<const char*, std::string> rows[] = {
      {"htmltext", "a&lt;b&gt;&quot;c&quot;&#39;&amp;amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s},
      {"htmlesc", "a%3Cb%3E%22c%22%27%26amp%3B%5C%0A%7F%C3%A4%00%2D%2E%5F%20%2FZ9"},
      {"json", "a<b>\\\"c\\\"'&amp;\\\\\n\x7F\xC3\xA4\0-._ /Z9"s},
      {"", hostile},
      {"html", hostile},
      {"HTMLTEXT", hostile},
      {"htmltext ", hostile},
  };
  for (const auto& [mode, expected] : rows) {
    EXPECT_EQ(Escaped(mode, hostile), expected) << mode;
    EXPECT_EQ(Escaped(mode, ""), "") << mode;
  }
}

// Tests all 256 bytes at each place of a word or block, which is copied at once if nothing in it
// needs escaping. The 62 letters and digits stay unchanged in URLs, and with "_" in a safe name.
TEST(WGLEscaper, EachByte) {
  const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const std::map<char, std::string> references = {
      {'<', "&lt;"}, {'>', "&gt;"}, {'&', "&amp;"}, {'"', "&quot;"}, {'\'', "&#39;"}};
  for (int code = 0; code < 256; ++code) {
    const char byte = static_cast<char>(code);
    const std::string same(1, byte);
    char encoded[4];
    std::snprintf(encoded, sizeof encoded, "%%%02X", code);
    const bool stays = letters.find(byte) != std::string::npos;
    const std::string html = references.count(byte) != 0 ? references.at(byte) : same;
    EXPECT_EQ(WGLVariables::ReplaceSpecialChars("_" + same), "_" + (stays ? same : "_"));
    for (std::size_t before = 0; before < 40; ++before) {
      const std::string start(before, 'x');
      const std::string end(40 - before, 'x');
      EXPECT_EQ(Escaped("htmlesc", start + same + end), start + (stays ? same : encoded) + end);
      EXPECT_EQ(Escaped("htmltext", start + same + end), start + html + end);
    }
  }
}

TEST(WGLNumber, ReadsLikeAtoiWithinInt) {
  constexpr int kHighest = 2147483647;
  constexpr int kLowest = -kHighest - 1;
  const struct {
    const char* text;
    int number;
  } rows[] = {
      {"", 0},
      {"-1", -1},
      {"+7", 7},
      {"5abc", 5},
      {"010", 10},
      {"abc", 0},
      {"- 1", 0},
      {"0x10", 0},
      {" \t\n\v\f\r42 ", 42},
      {"2147483647", kHighest},
      {"-2147483648", kLowest},
      {"2147483648", kHighest},
      {"4294967301", kHighest},
      {"-2147483649", kLowest},
      {"99999999999999999999", kHighest},
      {"-99999999999999999999", kLowest},
  };
  for (const auto& row : rows) EXPECT_EQ(WGLToInt(row.text), row.number) << row.text;
}

static WGLString Make(const std::vector<const char*>& parts) {
  WGLString string;
  string.Initialize();
  for (const char* part : parts) string.Append(strdup(part));
  return string;
}

static std::string Written(const WGLString& string) {
  return OutputOf([&] { string.Write(stdout); });
}

TEST(WGLString, CombinesAndJoins) {
  const struct {
    std::vector<const char*> left, right;
    std::string expected;
  } rows[] = {
      {{}, {}, ""},         {{"a"}, {}, "a"},     {{}, {"b"}, "b"},
      {{"a"}, {"b"}, "ab"}, {{"", ""}, {""}, ""}, {{"a", "", "c"}, {"d", "ef"}, "acdef"},
  };
  for (const auto& row : rows) {
    WGLString left = Make(row.left);
    WGLString right = Make(row.right);
    left.Append(right);
    left.Append(static_cast<const char*>(nullptr));
    EXPECT_EQ(Written(right), "") << row.expected;
    EXPECT_EQ(Written(left), row.expected);
    const char* combined = left.GetCombined();
    EXPECT_EQ(combined, row.expected);
    EXPECT_EQ(combined, left.GetCombined()) << "combined twice";
    right.Append(strdup("again"));
    left.Append(right);
    EXPECT_EQ(Written(left), row.expected + "again");
    left.Clear();
    left.Clear();
    EXPECT_STREQ(left.GetCombined(), "");
  }
}

// Clearing is a part of combining. A recursive call for each part would need many times the stack.
TEST(WGLString, CombinesHundredsOfThousandsOfParts) {
  constexpr int kParts = 300'000;
  WGLString chain = Make({});
  for (int i = 0; i < kParts; ++i) chain.Append(strdup(i % 2 == 0 ? "a" : ""));
  EXPECT_TRUE(chain.GetCombined() == std::string(kParts / 2, 'a'));
  chain.Clear();
}
