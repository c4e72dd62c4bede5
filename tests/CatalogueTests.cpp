// SPDX-License-Identifier: MIT
//
// Message catalogues that were cut or changed never reach gettext, which trusts their numbers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "base/RegularFile.h"
#include "request/MessageCatalogue.h"
#include "tests/TestFolder.h"

namespace {

std::uint32_t WordAt(const std::string& bytes, std::size_t place) {
  std::uint32_t word = 0;
  std::memcpy(&word, &bytes[place], sizeof word);
  const bool isForeign = bytes[0] != (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? '\xde' : '\x95');
  return isForeign ? __builtin_bswap32(word) : word;
}

// The 32-bit words of a catalogue's header and tables, which are before its texts.
std::size_t NumberedBytes(const std::string& bytes) {
  return WordAt(bytes, 24) + WordAt(bytes, 20) * std::size_t{4};
}

// The other order of bytes.
std::string Swapped(std::string bytes) {
  const std::size_t end = NumberedBytes(bytes);
  for (std::size_t i = 0; i < end; i += 4) {
    std::swap(bytes[i], bytes[i + 3]);
    std::swap(bytes[i + 1], bytes[i + 2]);
  }
  return bytes;
}

// In this machine's order of bytes; msgfmt writes that of the machine it runs on.
std::string SoundCatalogue() {
  const std::string bytes = ReadFile(VISTEL_TEST_CATALOGUE);
  return bytes[0] == (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? '\xde' : '\x95') ? bytes
                                                                                   : Swapped(bytes);
}

std::string WithWord(std::string bytes, std::size_t place, std::uint32_t word) {
  std::memcpy(&bytes[place], &word, sizeof word);
  return bytes;
}

}  // namespace

// What gettext would crash on or search in for ever, and what it accepts.
TEST(MessageCatalogue, EachKindOfDamage) {
  const std::string sound = SoundCatalogue();
  const auto fill = [](std::string bytes, std::uint32_t word) {
    const std::size_t end = NumberedBytes(bytes);  // the hash table comes last
    for (std::size_t i = WordAt(bytes, 24); i < end; i += 4)
      bytes = WithWord(std::move(bytes), i, word);
    return bytes;
  };
  const auto described = [&](const std::string& description) {
    const auto end = static_cast<std::uint32_t>(sound.size());
    const auto size = static_cast<std::uint32_t>(description.size());
    const std::uint32_t translations = WordAt(sound, 16);
    return WithWord(WithWord(sound, translations, size), translations + 4, end) + description +
           '\0';
  };
  // The last text, longer than it is, up to the end of the file.
  const std::uint32_t last = WordAt(sound, 16) + (WordAt(sound, 8) - 1) * 8;
  const std::uint32_t size = WordAt(sound, last);
  using State = CatalogueState;
  const struct {
    std::string bytes;
    State expected;
  } rows[] = {
      {sound, State::kDescribed},
      {Swapped(sound), State::kDescribed},
      {Swapped(fill(sound, 1)), State::kDamaged},
      {"", State::kForeign},
      {"no catalogue", State::kForeign},
      {sound.substr(0, 4), State::kDamaged},
      {sound.substr(0, 47), State::kDamaged},
      {WithWord(sound.substr(0, 28), 8, 0), State::kForeign},  // no texts
      {WithWord(sound, 4, 0x10000), State::kDescribed},        // revisions
      {WithWord(sound, 4, 0x20000), State::kDamaged},
      {WithWord(sound, 4, 1), State::kDamaged},
      {WithWord(sound, 8, 0), State::kDamaged},  // the hash table is that of more texts
      {WithWord(fill(sound, 0), 8, 0), State::kPlain},
      {WithWord(sound, 8, 0xFFFFFFFF), State::kDamaged},
      {WithWord(sound, 12, 30), State::kDamaged},  // not a place for words
      {WithWord(sound, 16, 0xFFFFFFFC), State::kDamaged},
      {WithWord(sound, 20, 2), State::kPlain},      // no hash table
      {WithWord(sound, 20, 408), State::kDamaged},  // not a prime number
      {WithWord(sound, 24, 0xFFFFFFF0), State::kDamaged},
      {fill(sound, 1), State::kDamaged},  // no free entry
      {fill(sound, 0), State::kPlain},
      {fill(sound, 0x7FFFFFFF), State::kDamaged},
      {WithWord(sound, last, size + 1), State::kDamaged},
      {WithWord(sound, last + 4, 0xFFFFFFF0), State::kDamaged},
      {WithWord(sound, WordAt(sound, 12) + 4, 0xFFFFFFF0), State::kDamaged},
      {WithWord(sound, last, size - 1), State::kDamaged},  // no NUL byte after it
      {described(""), State::kPlain},
      {described("charset=UTF-8\n"), State::kPlain},
      {described("charset=" + std::string(64, 'x') + "\n"), State::kPlain},
      {described("charset=" + std::string(65, 'x') + "\n"), State::kDamaged},
      {described("charset=../x\n"), State::kDamaged},
      {described(std::string(16384, 'x')), State::kDescribed},
      {described(std::string(16385, 'x')), State::kDamaged},
      {sound + std::string((8 << 20) - sound.size(), '\0'), State::kDescribed},
      {sound + std::string((8 << 20) - sound.size() + 1, '\0'), State::kDamaged},
  };
  const TestFolder folder(testing::TempDir() + "vistel-catalogue");
  for (const auto& row : rows) {
    EXPECT_EQ(StateOfCatalogue(OpenRegularFile(folder.Write("mo", row.bytes))), row.expected)
        << &row - rows;
  }
}
