// SPDX-License-Identifier: MIT
//
// The variable store, the escaper and the reading of numbers.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "base/Number.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"

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
  EXPECT_EQ(constant.find("A"), constant.end());
  EXPECT_EQ(constant.find("empty"), constant.begin() + 1);
  variables.find("a")->second += "&";
  const char* const rows[][3] = {
      {"a", "", "<\"\\&"},         {"a", "htmltext", "&lt;&quot;\\&amp;"},
      {"a", "json", "<\\\"\\\\&"}, {"a", "htmlesc", "%3C%22%5C%26"},
      {"a", "fallback", "<\"\\&"}, {"empty", "htmltext", ""},
      {"missing", "", ""},         {"missing", "htmltext", ""}};
  for (const auto& [name, mode, expected] : rows) {
    EXPECT_EQ(constant.Get(name, mode), expected) << name << " " << mode;
  }
}

TEST(WGLEscaper, Modes) {
  const std::string hostile = "a<b>\"c\"'&amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s;
  const std::pair<const char*, std::string> rows[] = {
      {"htmltext", "a&lt;b&gt;&quot;c&quot;&#39;&amp;amp;\\\n\x7F\xC3\xA4\0-._ /Z9"s},
      {"htmlesc", "a%3Cb%3E%22c%22%27%26amp%3B%5C%0A%7F%C3%A4%00%2D%2E%5F%20%2FZ9"},
      {"json", "a<b>\\\"c\\\"'&amp;\\\\\n\x7F\xC3\xA4\0-._ /Z9"s},
  };
  for (const auto& [mode, expected] : rows) {
    EXPECT_EQ(WGLEscaper(mode).Escape(hostile), expected) << mode;
    EXPECT_EQ(WGLEscaper(mode).Escape(""), "") << mode;
  }
  for (const char* mode : {"", "raw", "html", "HTMLTEXT", "htmltext "}) {
    EXPECT_EQ(WGLEscaper(mode).Escape(hostile), hostile) << mode;
  }
}

// All 256 bytes: exactly the 62 letters and digits stay, or with "_" they do in a safe name.
TEST(WGLEscaper, LeavesLettersAndDigits) {
  const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  for (int code = 0; code < 256; ++code) {
    const std::string byte(1, static_cast<char>(code));
    char encoded[4];
    std::snprintf(encoded, sizeof encoded, "%%%02X", code);
    const bool stays = letters.find(byte) != std::string::npos;
    EXPECT_EQ(WGLEscaper("htmlesc").Escape(byte), stays ? byte : std::string(encoded));
    EXPECT_EQ(WGLVariables::ReplaceSpecialChars("_" + byte), "_" + (stays ? byte : "_"));
  }
}

TEST(WGLNumber, ReadsLikeAtoiWithinInt) {
  constexpr int kHighest = 2147483647;
  constexpr int kLowest = -kHighest - 1;
  const std::pair<const char*, int> rows[] = {{"", 0},
                                              {"0", 0},
                                              {"-1", -1},
                                              {"+7", 7},
                                              {"5abc", 5},
                                              {"010", 10},
                                              {"abc", 0},
                                              {"--1", 0},
                                              {"- 1", 0},
                                              {"0x10", 0},
                                              {"1e3", 1},
                                              {"1.9", 1},
                                              {" \t\n\v\f\r42 ", 42},
                                              {"2147483647", kHighest},
                                              {"-2147483648", kLowest},
                                              {"2147483648", kHighest},
                                              {"4294967301", kHighest},
                                              {"-2147483649", kLowest},
                                              {"99999999999999999999", kHighest},
                                              {"-99999999999999999999", kLowest}};
  for (const auto& [text, expected] : rows) EXPECT_EQ(WGLToInt(text), expected) << text;
}
