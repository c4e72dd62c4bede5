// SPDX-License-Identifier: MIT
//
// The variable store, the escaper and the reading of numbers.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "wgl/WGLEscaper.h"
#include "wgl/WGLNumber.h"
#include "wgl/WGLVariables.h"

using namespace std::string_literals;

TEST(WGLVariables, KeepsOrderAndReplacesInPlace) {
  WGLVariables variables;
  variables.Set("x", "1");
  variables.Set("y", "2");
  variables.Set("x", "3");
  variables.Set("X", "capital");
  variables.Set("", "no name");
  variables.Set("nul\0name"s, "a\0b"s);
  variables.Set("x", "");
  std::string all;
  for (const auto& [name, value] : variables) all += name + "=" + value + ";";
  EXPECT_EQ(all, "x=;y=2;X=capital;=no name;nul\0name=a\0b;"s);
}

// Whatever their number: around that from which there is an index, and one that shows its cost.
TEST(WGLVariables, Many) {
  for (const std::size_t count : {127, 128, 129, 130, 256, 257, 512, 513, 100'000}) {
    WGLVariables variables;
    for (const char* round : {"first ", "second "}) {
      for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(variables.Get(std::to_string(i), ""),
                  round == "first "s ? "" : "first " + std::to_string(i));
        variables.Set(std::to_string(i), round + std::to_string(i));
      }
      EXPECT_EQ(variables.find(std::to_string(count)), variables.end());
    }
    const WGLVariables copy = variables;
    ASSERT_EQ(static_cast<std::size_t>(copy.end() - copy.begin()), count);
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ((copy.begin() + static_cast<std::ptrdiff_t>(i))->first, std::to_string(i));
      ASSERT_EQ(copy.Get(std::to_string(i), ""), "second " + std::to_string(i));
    }
  }
}

TEST(WGLVariables, FindsAndReads) {
  WGLVariables variables;
  variables.Set("a", "<\"\\");
  variables.Set("empty", "");
  const WGLVariables& constant = variables;
  EXPECT_EQ(constant.find("a")->second, "<\"\\");
  EXPECT_EQ(constant.find("A"), constant.end());
  EXPECT_EQ(variables.find("empty"), variables.begin() + 1);
  variables.find("a")->second += "&";
  const struct {
    const char *name, *mode, *expected;
  } rows[] = {
      {"a", "", "<\"\\&"},         {"a", "htmltext", "&lt;&quot;\\&amp;"},
      {"a", "json", "<\\\"\\\\&"}, {"a", "htmlesc", "%3C%22%5C%26"},
      {"a", "fallback", "<\"\\&"}, {"empty", "htmltext", ""},
      {"missing", "", ""},         {"missing", "fallback", ""},
      {"missing", "htmltext", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(constant.Get(row.name, row.mode), row.expected) << row.name << " " << row.mode;
  }
}

// Far more entries than there is room for at first.
TEST(WGLVariables, Grows) {
  WGLVariables variables;
  for (int i = 0; i < 1000; ++i) variables.Set("n" + std::to_string(i), std::to_string(i));
  int i = 0;
  for (const auto& entry : variables) EXPECT_EQ(entry.first, "n" + std::to_string(i++));
  EXPECT_EQ(i, 1000);
  EXPECT_EQ(variables.Get("n999", ""), "999");
}

TEST(WGLVariables, ReplaceSpecialChars) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {":sys:Net.Name-2", "_sys_Net_Name_2"},
      {"azAZ09_", "azAZ09_"},
      {"@[`{/:", "______"},
      {"\xE4\xC3\xA4\xFF", "____"},
      {"a\0 \n"s, "a___"},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(WGLVariables::ReplaceSpecialChars(text), expected) << text;
  }
}

TEST(WGLEscaper, Modes) {
  const std::string hostile = "a<b>\"c\"'&amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s;
  const std::string entities = "a&lt;b&gt;&quot;c&quot;&#39;&amp;amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s;
  const std::string percent = "a%3Cb%3E%22c%22%27%26amp%3B%5C%0A%7F%C3%A4%00%2D%2E%5F%20%2FZ9";
  const std::string json = "a<b>\\\"c\\\"'&amp;\\\\\n\x7F\xC3\xA4\0-._ /Z9"s;
  const std::pair<const char*, std::string> rows[] = {
      {"htmltext", entities}, {"htmlesc", percent}, {"json", json},        {"", hostile},
      {"raw", hostile},       {"html", hostile},    {"HTMLTEXT", hostile}, {"htmltext ", hostile},
  };
  for (const auto& [mode, expected] : rows) {
    EXPECT_EQ(WGLEscaper(mode).Escape(hostile), expected) << mode;
    EXPECT_EQ(WGLEscaper(mode).Escape(""), "") << mode;
  }
  EXPECT_EQ(WGLEscaper("").MakeHtmlEntities("&lt;"), "&amp;lt;");
}

// All 256 bytes: exactly the 62 letters and digits stay.
TEST(WGLEscaper, PercentEncodesEveryOtherByte) {
  const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  for (int code = 0; code < 256; ++code) {
    const std::string byte(1, static_cast<char>(code));
    char encoded[4];
    std::snprintf(encoded, sizeof encoded, "%%%02X", code);
    const bool stays = letters.find(byte) != std::string::npos;
    EXPECT_EQ(WGLEscaper("htmlesc").Escape(byte), stays ? byte : std::string(encoded));
  }
}

TEST(WGLNumber, ReadsLikeAtoiWithinInt) {
  const std::pair<std::string, int> rows[] = {
      {"", 0},
      {"0", 0},
      {"-1", -1},
      {"+7", 7},
      {"5abc", 5},
      {" \t\n\v\f\r42 ", 42},
      {"abc", 0},
      {"--1", 0},
      {"- 1", 0},
      {"0x10", 0},
      {"010", 10},
      {"1e3", 1},
      {"1.9", 1},
      {"2147483647", 2147483647},
      {"-2147483648", -2147483647 - 1},
      {"2147483648", 2147483647},
      {"4294967301", 2147483647},
      {"-2147483649", -2147483647 - 1},
      {std::string(100, '9'), 2147483647},
      {"-" + std::string(100, '9'), -2147483647 - 1},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(WGLToInt(text.c_str()), expected) << text;
}
