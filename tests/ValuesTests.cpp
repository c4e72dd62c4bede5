// SPDX-License-Identifier: MIT
//
// The variable store, the escaper and the segmented string. AddressSanitizer checks the ownership
// of a string's parts: one that is freed twice or never fails the test.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/Output.h"
#include "values/WGLEscapedValues.h"
#include "values/WGLEscaper.h"
#include "values/WGLString.h"
#include "values/WGLVariables.h"

using namespace std::string_literals;

TEST(WGLVariables, KeepsOrderAndReplacesInPlace) {
  WGLVariables variables;
  for (const auto& [name, value] : {std::pair("x"s, "1"s),
                                    {"y", "2"},
                                    {"x", "3"},
                                    {"X", "<>"},
                                    {"", "no name"},
                                    {"nul\0name"s, "a\0b"s},
                                    {"x", ""}}) {
    variables.Set(name, value);
  }
  std::string all;
  for (const auto& [name, value] : variables) all += name + "=" + value + ";";
  EXPECT_EQ(all, "x=;y=2;X=<>;=no name;nul\0name=a\0b;"s);
  EXPECT_EQ(variables.find("Y"), variables.end());
  variables.find("y")->second = "found";
  EXPECT_EQ(variables.Get("y", "fallback") + variables.Get("X", "htmltext"), "found&lt;&gt;");
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
    const std::map<const char*, std::string> rows = {
        {"htmltext", references.count(byte) != 0 ? references.at(byte) : same},
        {"htmlesc", stays ? same : encoded},
        {"json", (byte == '"' || byte == '\\' ? "\\" : "") + same},
        {"", same},
        {"HTMLTEXT", same},
        {"json ", same},
    };
    for (const auto& [mode, expected] : rows) {
      EXPECT_EQ(Escaped(mode, ""), "");
      for (std::size_t before = 0; before < 40; ++before) {
        const std::string start(before, 'x');
        const std::string end(40 - before, 'x');
        EXPECT_EQ(Escaped(mode, start + same + end), start + expected + end) << mode;
      }
    }
    EXPECT_EQ(WGLVariables::ReplaceSpecialChars("_" + same), "_" + (stays ? same : "_"));
  }
}

static WGLString Make(const std::vector<const char*>& parts) {
  WGLString string;
  string.Initialize();
  for (const char* part : parts) string.Append(strdup(part));
  return string;
}

TEST(WGLString, JoinsAndCombines) {
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
    EXPECT_EQ(OutputOf([&] { left.Write(stdout); }), row.expected);
    EXPECT_EQ(left.GetCombined(), row.expected);
    EXPECT_STREQ(right.GetCombined(), "");
    right.Append(strdup("again"));
    left.Append(right);
    EXPECT_EQ(left.GetCombined(), row.expected + "again");
    left.Clear();
    EXPECT_STREQ(left.GetCombined(), "");
  }
}

// One copy was appended to, so that the other can't take further parts.
TEST(WGLString, Copies) {
  WGLString text = Make({"a"});
  WGLString copy = text;
  copy.Append(strdup("b"));
  WGLString tail = Make({"c"});
  WGLString kept = tail;
  text.Append(tail);
  EXPECT_EQ(OutputOf([&] { text.Write(stdout); }), "ab");
  text.Clear();
  kept.Clear();
}

// A page keeps what it shows, whatever its variables become: values of 128 bytes and more, in the
// places of others, and cut at a NUL byte.
TEST(WGLString, SharedValues) {
  const std::string longest(128, '"');
  const std::string texts[] = {"plain", "<a'b>", "", longest, longest + "'", "a<\0b"s, "<\0"s};
  WGLEscapedValues values;
  WGLString page = Make({});
  std::string expected;
  for (std::size_t i = 0; i < 2000; ++i) {
    const std::string& value = texts[i / 3 % std::size(texts)];
    const WGLEscaper escaper(i % 2 != 0 ? "htmltext" : i % 5 != 0 ? "htmlesc" : "");
    const std::string text = escaper.Escape(value).c_str();
    WGLString shown = Make({});
    values.AppendTo(shown, value, escaper, i / 4 % 90);
    EXPECT_EQ(i % 3 == 0 ? shown.GetCombined() : shown.GetView(), text);
    if (i % 7 == 0) {
      shown.Clear();
    } else {
      page.Append(shown);
      expected += text;
    }
  }
  EXPECT_EQ(OutputOf([&] { page.Write(stdout); }), expected);
  EXPECT_EQ(page.GetView(), expected);
  page.Clear();
}

// Clearing is a part of combining. A recursive call for each part would need too much stack.
TEST(WGLString, LateTexts) {
  struct Late final : WGLLateText {
    void Await() override { Come(strdup("late")); }
  };
  Late awaited, copied, come, dropped;
  WGLString string = Make({"<"});
  for (WGLLateText* text : {&awaited, &come}) string.Append(*text);
  string.Append(strdup(">"));
  come.Come(strdup("|in time"));
  EXPECT_STREQ(string.GetCombined(), "<late|in time>");
  string.Clear();
  string.Append(copied);
  EXPECT_STREQ(string.GetCombined(), "late");
  string.Append(dropped);
  string.Clear();
  dropped.Come(strdup("nobody reads it"));
  EXPECT_STREQ(string.GetCombined(), "");
}

TEST(WGLString, CombinesHundredsOfThousandsOfParts) {
  constexpr int kParts = 300'000;
  WGLString chain = Make({});
  for (int i = 0; i < kParts; ++i) chain.Append(strdup(i % 2 == 0 ? "a" : ""));
  EXPECT_TRUE(chain.GetCombined() == std::string(kParts / 2, 'a'));
  chain.Clear();
}
