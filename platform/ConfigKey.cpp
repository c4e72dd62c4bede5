// SPDX-License-Identifier: MIT
#include "platform/ConfigKey.h"

#include <algorithm>
#include <cstddef>

#include "base/Characters.h"

namespace {

bool IsNameByte(char byte) {
  return IsAsciiAlphanumeric(byte) || byte == '_' || byte == '-';
}

// The rest of a key, while its parts are removed from its front one by one. A Take that fails
// removes nothing.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  bool AtEnd() const { return text_.empty(); }

  bool Take(char byte) {
    if (text_.empty() || text_[0] != byte) return false;
    text_.remove_prefix(1);
    return true;
  }

  bool TakeName(std::string& name) {
    const auto end = std::find_if_not(text_.begin(), text_.end(), IsNameByte);
    const auto size = static_cast<std::size_t>(end - text_.begin());
    if (size == 0) return false;
    name = TakeBytes(size);
    return true;
  }

  // Everything up to the next of `ends`.
  std::string_view TakeUpTo(const char* ends) {
    return TakeBytes(std::min(text_.find_first_of(ends), text_.size()));
  }

 private:
  std::string_view TakeBytes(std::size_t size) {
    const std::string_view bytes = text_.substr(0, size);
    text_.remove_prefix(size);
    return bytes;
  }

  std::string_view text_;
};

bool Decode(std::string_view text, std::string& value) {
  value.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      value += text[i];
      continue;
    }
    if (text.size() - i <= 2) return false;
    const int high = HexValue(text[i + 1]);
    const int low = HexValue(text[i + 2]);
    if (high < 0 || low < 0) return false;
    value += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return true;
}

bool ReadPath(Reader& reader, std::string& path) {
  std::string name;
  if (!reader.TakeName(path)) return false;
  while (reader.Take('.')) {
    if (!reader.TakeName(name)) return false;
    path += '.';
    path += name;
  }
  return true;
}

// Reads what follows the "{", up to and including the "}".
bool ReadSelectors(Reader& reader, std::vector<Config::Key::Pair>& selectors) {
  do {
    Config::Key::Pair selector;
    if (!reader.TakeName(selector.name) || !reader.Take('=')) return false;
    if (!Decode(reader.TakeUpTo(",}"), selector.value)) return false;
    selectors.push_back(selector);
  } while (reader.Take(','));
  return reader.Take('}');
}

bool ReadOptions(Reader& reader, std::vector<Config::Key::Pair>& options) {
  while (reader.Take(':')) {
    Config::Key::Pair option;
    if (!reader.TakeName(option.name) || !reader.Take('=')) return false;
    option.value = reader.TakeUpTo(":");
    options.push_back(option);
  }
  return reader.AtEnd();
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

namespace Config {
namespace Key {

bool Key::Parse(std::string_view text) {
  *this = Key();
  if (ParseParts(text)) return true;
  *this = Key();
  return false;
}

bool Key::ParseParts(std::string_view text) {
  Reader reader(text);
  if (!ReadPath(reader, path_)) return false;
  if (reader.Take('{')) {
    if (!ReadSelectors(reader, selectors_)) return false;
    if (reader.Take('.') && !reader.TakeName(column_)) return false;
  }
  return ReadOptions(reader, options_);
}

std::vector<std::string_view> Split(std::string_view text) {
  std::vector<std::string_view> keys;
  std::size_t start = 0;
  bool inBraces = false;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const bool atEnd = i == text.size();
    if (!atEnd && text[i] == '{') inBraces = true;
    if (!atEnd && text[i] == '}') inBraces = false;
    if (!atEnd && (text[i] != ';' || inBraces)) continue;
    const std::string_view key = Trim(text.substr(start, i - start));
    if (!key.empty()) keys.push_back(key);
    start = i + 1;
  }
  return keys;
}

}  // namespace Key
}  // namespace Config
