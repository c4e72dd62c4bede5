// SPDX-License-Identifier: MIT
//
// The search for the end of plain text, against one that looks at one byte after the other.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "wgl/WGLPlainText.h"

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

TEST(WGLFindPlainText, EveryPlaceInABlock) {
  for (const std::string construct :
       {"",   "$",  "`",  "~",   "<~",  "<",  "<<~", "<~<~", "\n~", "<\n",         "<$",
        "~>", "~x", "$x", "$\n", "$<~", "$$", "$~>", "${",   "~~>", "\xA4\xFF\x7F"}) {
    for (const char* filling : {"x", "\n", "<"}) {
      for (std::size_t before = 0; before <= 200; ++before) {
        std::string text;
        while (text.size() < before) text += filling;
        Compare(text + construct);
        Compare(text + construct + std::string(before % 80, 'y'));
      }
    }
  }
}

// More newlines than a block's byte could count.
TEST(WGLFindPlainText, CountsManyLines) {
  Compare(std::string(100'000, '\n') + "~");
}

TEST(WGLFindPlainText, RandomTexts) {
  std::mt19937 random(1);
  const std::string alphabet("xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\n\n\n<<$`~>\0\x80", 42);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(random() % 300, ' ');
    for (char& byte : text) byte = alphabet[random() % alphabet.size()];
    Compare(text);
  }
}
