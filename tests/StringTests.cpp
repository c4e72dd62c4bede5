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

#include "wgl/WGLString.h"

namespace {

// The parts' texts.
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

WGLString MakeChain(int parts) {
  WGLString chain = Make({});
  for (int i = 0; i < parts; ++i) {
    WGLString piece = Make({i % 2 == 0 ? "a" : ""});
    chain.Append(piece);
  }
  return chain;
}

// A call for each part would need many times the stack that there is.
constexpr int kCombinedParts = 5'000'000;
constexpr int kClearedParts = 1'000'000;

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
    EXPECT_STREQ(left.GetCombined(), row.expected);
    const char* combined = left.GetCombined();
    EXPECT_EQ(combined, left.GetCombined()) << "combined twice";
    right.Append(strdup("again"));
    left.Append(right);
    EXPECT_EQ(Written(left), row.expected + std::string("again"));
    left.Clear();
    EXPECT_STREQ(left.GetCombined(), "");
    left.Clear();
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

TEST(WGLString, CombinesAndClearsMillionsOfParts) {
  WGLString chain = MakeChain(kCombinedParts);
  const std::string expected(kCombinedParts / 2, 'a');
  EXPECT_TRUE(chain.GetCombined() == expected);
  chain.Clear();
  chain = MakeChain(kClearedParts);
  chain.Clear();
  EXPECT_STREQ(chain.GetCombined(), "");
}
