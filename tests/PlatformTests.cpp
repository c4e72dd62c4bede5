// SPDX-License-Identifier: MIT
//
// The platform's text helpers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/RegExp.h"
#include "platform/StringEscaper.h"

using namespace std::string_literals;

TEST(RegExp, MatchesAndCaptures) {
  using Groups = std::vector<std::string>;
  const Groups untouched = {"untouched"};
  const struct {
    std::string pattern;
    int flags;
    std::string text;
    Groups groups;  // `untouched` for no match
  } rows[] = {
      {"^multipart/form-data.*boundary=(.*)$",
       1,
       "multipart/form-data; boundary=a boundary=\"b\"",
       {"multipart/form-data; boundary=a boundary=\"b\"", "\"b\""}},
      {"^urlencoded*", 1, "urlencodeddd; a", {"urlencodeddd"}},
      {"^urlencoded*", 1, "Urlencoded", untouched},
      {"^A(b)?", 1 | 2, "ac", {"a", ""}},
      {"(a)|(b)", 1, "xb", {"b", "", "b"}},
      {"b+", 1, "abbc", {"bb"}},
      {"^a.b$", 1, "a\nb", {"a\nb"}},
      {"b.c$", 1, "a\0bxc"s, {"bxc"}},
      {"a.c", 1, "a\0c"s, untouched},
      {"a+", 0, "aa+", {"a+"}},  // basic syntax: the plus is a character
      {"", 1, "", {""}},
      {"(", 1, "(", untouched},
  };
  for (const auto& row : rows) {
    Groups groups = untouched;
    const RegExp expression(row.pattern, row.flags);
    EXPECT_EQ(expression.Match(row.text, &groups), row.groups != untouched) << row.pattern;
    EXPECT_EQ(groups, row.groups) << row.pattern << " on " << row.text;
    EXPECT_EQ(expression.Match(row.text), row.groups != untouched) << row.pattern;
  }
}

TEST(StringEscaper, EscapesExactlyTheGivenBytes) {
  const struct {
    std::string specials;
    char escape;
    std::string text, expected;
  } rows[] = {
      {"\\\"", '\\', "a\\b\"c'\n\xE4\0"s, "a\\\\b\\\"c'\n\xE4\0"s},
      {"x\0"s, '!', "x\0y!"s, "!x!\0y!"s},
      {"a", 'a', "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(StringEscaper(row.specials, row.escape).Escape(row.text), row.expected);
  }
}
