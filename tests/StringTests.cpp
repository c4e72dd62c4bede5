// SPDX-License-Identifier: MIT
//
// The segmented string. Who owns which part is checked by AddressSanitizer: a part freed twice or
// never fails the test.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "values/WGLString.h"

namespace {

WGLString Make(const std::vector<const char*>& parts) {
  WGLString string;
  string.Initialize();
  for (const char* part : parts) string.Append(strdup(part));
  return string;
}

std::string Written(const WGLString& string) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  string.Write(stream);
  std::fclose(stream);
  const std::string result(text, size);
  std::free(text);
  return result;
}

}  // namespace

TEST(WGLString, CombinesAndJoins) {
  const struct {
    std::vector<const char*> left, right;
    const char* expected;
  } rows[] = {
      {{}, {}, ""},         {{"a"}, {}, "a"},     {{}, {"b"}, "b"},
      {{"a"}, {"b"}, "ab"}, {{"", ""}, {""}, ""}, {{"a", "", "c"}, {"d", "ef"}, "acdef"},
  };
  for (const auto& row : rows) {
    WGLString left = Make(row.left);
    WGLString right = Make(row.right);
    left.Append(right);
    EXPECT_EQ(Written(right), "") << row.expected;
    EXPECT_EQ(Written(left), row.expected);
    const char* combined = left.GetCombined();
    EXPECT_STREQ(combined, row.expected);
    EXPECT_EQ(combined, left.GetCombined()) << "combined twice";
    right.Append(strdup("again"));
    left.Append(right);
    EXPECT_EQ(Written(left), row.expected + std::string("again"));
    left.Clear();
    left.Clear();
    EXPECT_STREQ(left.GetCombined(), "");
  }
}

TEST(WGLString, NullTexts) {
  WGLString string = Make({"a"});
  string.Append(static_cast<const char*>(nullptr));
  EXPECT_EQ(Written(string), "a");
  string.Clear();
  WGLStringPart first(strdup("x"));
  first.Link(new (std::nothrow) WGLStringPart(nullptr));
  first.Next()->Link(new (std::nothrow) WGLStringPart(strdup("y")));
  EXPECT_STREQ(first.Next()->GetString(), "");
  first.Destroy();
  EXPECT_STREQ(first.GetString(), "");
  EXPECT_EQ(first.Next(), nullptr);
}

// Clearing is a part of combining. A call for each part would need many times the stack that there
// is.
TEST(WGLString, CombinesMillionsOfParts) {
  constexpr int kParts = 2'000'000;
  WGLString chain = Make({});
  for (int i = 0; i < kParts; ++i) chain.Append(strdup(i % 2 == 0 ? "a" : ""));
  EXPECT_TRUE(chain.GetCombined() == std::string(kParts / 2, 'a'));
  chain.Clear();
}
