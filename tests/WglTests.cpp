// SPDX-License-Identifier: MIT
//
// Compares the search for the end of plain text with one that looks at one byte after the other.
// The rest of the language is tested by the cases and by the corpus of the fuzz target `template`.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "wgl/WGLPlainText.h"

using namespace std::string_literals;

static WGLPlainText Slowly(const std::string& text) {
  WGLPlainText plain = {0, 0};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    const char next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (byte == '`' || byte == '\0') break;
    if (byte == '$' && (next == '{' || next == '\0')) break;
    // After the end of the text, anything may follow.
    const bool last = i + 1 == text.size();
    if ((byte == '~' && (last || next == '>')) || (byte == '<' && (last || next == '~'))) break;
    if (byte == '\n') ++plain.lines;
    if (byte == '$') ++i;
    plain.size = i + 1;
  }
  return plain;
}

TEST(WGLFindPlainText, RandomTexts) {
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    // Texts from constructs only to long runs without any.
    const std::string alphabet =
        std::string(random() % 200, 'x') + std::string(random() % 20, '\n') + "<<<$$`~~~>{\0\x80"s;
    // A heap block of exactly that size, so that AddressSanitizer sees a read beyond its end.
    std::vector<char> text(random() % 300);
    for (char& byte : text) byte = alphabet[random() % alphabet.size()];
    const WGLPlainText plain = WGLFindPlainText(text.data(), text.size());
    const WGLPlainText expected = Slowly(std::string(text.begin(), text.end()));
    ASSERT_EQ(plain.size, expected.size) << round;
    ASSERT_EQ(plain.lines, expected.lines) << round;
  }
  // More newlines than one byte could count.
  EXPECT_EQ(WGLFindPlainText((std::string(100'000, '\n') + "~").data(), 100'001).lines, 100'000U);
}
