// SPDX-License-Identifier: MIT
//
// The search for the end of plain text, against one that looks at one byte after the other.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "wgl/WGLPlainText.h"

using namespace std::string_literals;

namespace {

WGLPlainText Slowly(const std::string& text) {
  WGLPlainText plain = {0, 0};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    const bool last = i + 1 == text.size();
    if (byte == '`' || byte == '\0') break;
    if (byte == '$' && (last || text[i + 1] == '{' || text[i + 1] == '\0')) break;
    if (byte == '~' && (last || text[i + 1] == '>')) break;
    if (byte == '<' && (last || text[i + 1] == '~')) break;
    if (byte == '\n') ++plain.lines;
    if (byte == '$') ++i;
    plain.size = i + 1;
  }
  return plain;
}

void Compare(const std::string& text) {
  // An exact copy on the heap, so that AddressSanitizer sees a read beyond its end.
  const std::vector<char> exact(text.begin(), text.end());
  const WGLPlainText plain = WGLFindPlainText(exact.data(), exact.size());
  const WGLPlainText expected = Slowly(text);
  ASSERT_EQ(plain.size, expected.size) << text;
  ASSERT_EQ(plain.lines, expected.lines) << text;
}

}  // namespace

TEST(WGLFindPlainText, RandomTexts) {
  std::mt19937 random(1);
  for (int round = 0; round < 50'000; ++round) {
    // From texts that are nothing but constructs to long runs without any.
    const std::string alphabet =
        std::string(random() % 200, 'x') + std::string(random() % 20, '\n') + "<<<$$`~~~>{\0\x80"s;
    std::string text(random() % 300, ' ');
    for (char& byte : text) byte = alphabet[random() % alphabet.size()];
    Compare(text);
  }
  // More newlines than a block's byte could count.
  Compare(std::string(100'000, '\n') + "~");
}
