// SPDX-License-Identifier: MIT
//
// The format: a header, two tables of the lengths and places of texts (the originals and their
// translations), and a hash table over the originals. GNU gettext's manual describes it.
#include "request/MessageCatalogue.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/Characters.h"
#include "base/RegularFile.h"
#include "base/Response.h"

namespace {

// Several times the size of any site's; gettext maps the whole file.
constexpr std::size_t kMaxCatalogueBytes = std::size_t{8} << 20;

// The translation of the empty text describes the catalogue. gettext copies a part of it onto the
// stack, and goes through its rule for plurals recursively.
constexpr std::size_t kMaxDescriptionBytes = 16384;
constexpr std::size_t kMaxCharacterSetBytes = 64;

// gettext accepts both orders of bytes.
constexpr std::uint32_t kMagic = 0x950412DE;
constexpr std::uint32_t kSwappedMagic = 0xDE120495;

// The fields of the header, as places in 32-bit words. gettext accepts no file that is too small
// for the fields of later revisions, so a catalogue that ends with the first fields gives no text.
constexpr std::size_t kRevision = 1, kTexts = 2, kOriginals = 3, kTranslations = 4, kHashSize = 5,
                      kHashTable = 6;
constexpr std::size_t kHeaderBytes = 48;
constexpr std::size_t kFirstFieldsBytes = 28;

// Precedes the name of the character set in the description. Without it, gettext converts nothing.
constexpr std::string_view kCharacterSet = "charset=";

// gettext doesn't use a smaller hash table.
constexpr std::uint32_t kMinHashSize = 3;

class Catalogue {
 public:
  explicit Catalogue(std::string_view bytes)
      : bytes_(bytes), swapped_(Raw(0) == kSwappedMagic), texts_(0) {}

  // Whether gettext finds the description, as it searches for the empty text, and converts nothing.
  // Call it for a sound catalogue.
  bool IsDescribed() const {
    const std::uint32_t size = Word(kHashSize);
    const std::size_t first = Word(kHashTable) / sizeof(std::uint32_t);
    if (size < kMinHashSize) return false;
    for (std::uint32_t i = 0; i < size; ++i) {
      const std::uint32_t number = Word(first + i);
      std::string_view text;
      if (number == 0) return false;
      const std::size_t entry = std::size_t{number - 1} * 2;
      if (!HasText(Word(kOriginals) / sizeof(std::uint32_t) + entry, text)) return false;
      if (!IsEmpty(text)) continue;
      return HasText(Word(kTranslations) / sizeof(std::uint32_t) + entry, text) && !IsEmpty(text) &&
             text.find(kCharacterSet) == text.npos;
    }
    return false;
  }

  // Whether it is whole, and so small that it holds no text.
  bool HoldsNothing() const {
    return bytes_.size() >= kFirstFieldsBytes && bytes_.size() < kHeaderBytes && Word(kTexts) == 0;
  }

  bool IsSound() {
    if (bytes_.size() < kHeaderBytes) return false;
    // The upper half is 0 or 1. Minor revisions have texts with parts that depend on the machine,
    // such as numbers' formats in C, which templates don't have.
    if ((Word(kRevision) & ~std::uint32_t{0x10000}) != 0) return false;
    texts_ = Word(kTexts);
    return HasTable(Word(kOriginals), texts_, 2) && HasTable(Word(kTranslations), texts_, 2) &&
           AreTextsSound() && IsHashTableSound();
  }

 private:
  // The 32-bit word of that number, from the start of the file.
  std::uint32_t Raw(std::size_t word) const {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes_.data() + word * sizeof value, sizeof value);
    return value;
  }
  std::uint32_t Word(std::size_t word) const {
    const std::uint32_t value = Raw(word);
    return swapped_ ? __builtin_bswap32(value) : value;
  }

  // Whether so many entries lie inside the file, at a place where any machine can read words.
  bool HasTable(std::uint32_t place, std::uint32_t entries, std::size_t wordsOfEntry) const {
    const std::size_t room = bytes_.size() / (wordsOfEntry * sizeof(std::uint32_t));
    return place % sizeof(std::uint32_t) == 0 && place <= bytes_.size() && entries <= room &&
           entries * wordsOfEntry * sizeof(std::uint32_t) <= bytes_.size() - place;
  }

  // Whether an entry's text lies inside the file and ends with a NUL byte.
  bool HasText(std::size_t entry, std::string_view& text) const {
    const std::uint32_t length = Word(entry);
    const std::uint32_t place = Word(entry + 1);
    if (place >= bytes_.size() || length >= bytes_.size() - place) return false;
    text = bytes_.substr(place, length);
    return bytes_[place + length] == '\0';
  }

  // As gettext sees it, for which a text ends at its first NUL byte.
  static bool IsEmpty(std::string_view text) { return text.empty() || text[0] == '\0'; }

  bool AreTextsSound() const {
    std::size_t original = Word(kOriginals) / sizeof(std::uint32_t);
    std::size_t translation = Word(kTranslations) / sizeof(std::uint32_t);
    for (std::uint32_t i = 0; i < texts_; ++i, original += 2, translation += 2) {
      std::string_view from;
      std::string_view to;
      if (!HasText(original, from) || !HasText(translation, to)) return false;
      if (IsEmpty(from) && !IsDescriptionSound(to)) return false;
    }
    return true;
  }

  static bool IsDescriptionSound(std::string_view description) {
    if (description.size() > kMaxDescriptionBytes) return false;
    const std::size_t found = description.find(kCharacterSet);
    if (found == std::string_view::npos) return true;
    std::string_view name = description.substr(found + kCharacterSet.size());
    name = name.substr(0, name.find_first_of(std::string_view(" \t\n\0", 4)));
    if (name.size() > kMaxCharacterSetBytes) return false;
    for (const char byte : name) {
      if (!IsAsciiAlphanumeric(byte) && std::strchr("-_.:+()", byte) == nullptr) return false;
    }
    return true;
  }

  // A search begins anywhere and goes on in steps of one size until it meets a free entry. It comes
  // past every entry if the table's size is a prime number.
  bool IsHashTableSound() const {
    const std::uint32_t size = Word(kHashSize);
    if (size < kMinHashSize) return true;
    if (!HasTable(Word(kHashTable), size, 1) || !IsPrime(size)) return false;
    const std::size_t first = Word(kHashTable) / sizeof(std::uint32_t);
    bool hasFreeEntry = false;
    for (std::uint32_t i = 0; i < size; ++i) {
      const std::uint32_t text = Word(first + i);  // from 1
      if (text > texts_) return false;
      hasFreeEntry = hasFreeEntry || text == 0;
    }
    return hasFreeEntry;
  }

  static bool IsPrime(std::uint32_t number) {
    for (std::uint32_t i = 2; std::uint64_t{i} * i <= number; ++i) {
      if (number % i == 0) return false;
    }
    return true;
  }

  std::string_view bytes_;
  bool swapped_;
  std::uint32_t texts_;
};

// Judges a whole file.
CatalogueState StateOf(std::string_view bytes) {
  std::uint32_t magic = 0;
  if (bytes.size() < sizeof magic) return CatalogueState::kForeign;
  std::memcpy(&magic, bytes.data(), sizeof magic);
  if (magic != kMagic && magic != kSwappedMagic) return CatalogueState::kForeign;
  Catalogue catalogue(bytes);
  if (catalogue.HoldsNothing()) return CatalogueState::kForeign;
  if (!catalogue.IsSound()) return CatalogueState::kDamaged;
  return catalogue.IsDescribed() ? CatalogueState::kDescribed : CatalogueState::kPlain;
}

}  // namespace

CatalogueState StateOfCatalogue(const OpenedFile& file) {
  if (file.status.st_size == 0) return CatalogueState::kForeign;
  const auto size = static_cast<std::uint64_t>(file.status.st_size);
  if (size > kMaxCatalogueBytes) return CatalogueState::kDamaged;
  const auto length = static_cast<std::size_t>(size);
  void* const start = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.descriptor.Number(), 0);
  if (start == MAP_FAILED) {
    if (errno == ENOMEM) Response::Lose();
    return CatalogueState::kDamaged;
  }
  const CatalogueState state = StateOf({static_cast<const char*>(start), length});
  munmap(start, length);
  return state;
}
