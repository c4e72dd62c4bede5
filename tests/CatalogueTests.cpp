// SPDX-License-Identifier: MIT
//
// Message catalogues that were cut or changed never reach gettext, which trusts their numbers.
#include <gtest/gtest.h>
#include <libintl.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

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

// gettext translates with every catalogue that isn't called damaged: a changed one gives a wrong
// text at worst. Each catalogue has a text domain of its own, because gettext reads each once.
TEST(MessageCatalogue, KeepsDamageFromGettext) {
  const std::string sound = SoundCatalogue();
  std::vector<std::string> originals;
  for (std::size_t i = sound.size() - 1; originals.size() < 300 && i > 48;) {
    const std::size_t end = i--;
    while (i > 48 && sound[i] != '\0') --i;
    originals.push_back(sound.substr(i + 1, end - i - 1));
  }
  std::vector<std::string> catalogues = {sound, Swapped(sound)};
  std::mt19937 random(1);
  for (std::size_t i = 0; i < sound.size(); i += 112) catalogues.push_back(sound.substr(0, i));
  for (int i = 0; i < 1000; ++i) {
    std::string changed = sound;
    const std::size_t part = i % 4 == 0 ? 28 : i % 4 == 1 ? sound.size() : NumberedBytes(sound);
    for (int changes = 1 + i % 3; changes > 0; --changes) {
      changed[random() % part] = static_cast<char>(i % 8 < 4 ? random() % 4 * 85 : random());
    }
    catalogues.push_back(changed);
  }
  const TestFolder folder(testing::TempDir() + "vistel-catalogue");
  setenv("LC_ALL", "C.utf8", 1);
  setenv("LANGUAGE", "de", 1);
  ASSERT_NE(std::setlocale(LC_MESSAGES, ""), nullptr);
  std::size_t damaged = 0;
  for (std::size_t i = 0; i < catalogues.size(); ++i) {
    const std::string domain = "d" + std::to_string(i);
    const std::string file = folder.Write("de/LC_MESSAGES/" + domain + ".mo", catalogues[i]);
    const CatalogueState state = StateOfCatalogue(OpenRegularFile(file));
    EXPECT_TRUE(i >= 2 || state == CatalogueState::kDescribed);
    if (state == CatalogueState::kDamaged) {
      ++damaged;
    } else {
      bindtextdomain(domain.c_str(), folder.Path().c_str());
      bind_textdomain_codeset(domain.c_str(), "UTF-8");
      std::size_t size = 0;
      for (const std::string& text : originals) {
        size += std::strlen(dgettext(domain.c_str(), text.c_str()));
      }
      EXPECT_GT(size, 0U);
    }
    std::filesystem::remove(file);
  }
  EXPECT_GT(damaged, catalogues.size() / 2);
  EXPECT_LT(damaged, catalogues.size() * 9 / 10);
}

// What gettext would crash on or search in for ever, and what it accepts.
TEST(MessageCatalogue, EachKindOfDamage) {
  const std::string sound = SoundCatalogue();
  const auto fill = [](std::string bytes, std::uint32_t word) {
    std::uint32_t table[2];  // size and place
    std::memcpy(table, &bytes[20], sizeof table);
    for (std::size_t i = 0; i < table[0]; ++i) {
      std::memcpy(&bytes[table[1] + i * 4], &word, sizeof word);
    }
    return bytes;
  };
  const auto described = [&](const std::string& description) {
    const auto end = static_cast<std::uint32_t>(sound.size());
    const auto size = static_cast<std::uint32_t>(description.size());
    std::uint32_t translations = 0;
    std::memcpy(&translations, &sound[16], sizeof translations);
    return WithWord(WithWord(sound, translations, size), translations + 4, end) + description +
           '\0';
  };
  // The last text, longer than it is, up to the end of the file.
  std::uint32_t header[5];
  std::memcpy(header, sound.data(), sizeof header);
  const std::uint32_t last = header[4] + (header[2] - 1) * 8;
  std::uint32_t size = 0;
  std::memcpy(&size, &sound[last], sizeof size);
  using State = CatalogueState;
  const struct {
    std::string bytes;
    State expected;
  } rows[] = {
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
      {WithWord(sound, last, size - 1), State::kDamaged},  // no NUL byte after it
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
