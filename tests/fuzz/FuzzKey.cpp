// SPDX-License-Identifier: MIT
//
// Fuzz target: one key is parsed. The input is the key as it stands.
#include <algorithm>
#include <string>
#include <string_view>

#include "platform/ConfigKey.h"
#include "platform/StringVector.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

using Config::Key::Key;
using Config::Key::Pair;

bool IsName(std::string_view text) {
  constexpr std::string_view kNameBytes =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  return !text.empty() && text.find_first_not_of(kNameBytes) == std::string_view::npos;
}

// Every byte of the value in its escaped form.
std::string Encode(const std::string& value) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (char byte : value) {
    const auto code = static_cast<unsigned char>(byte);
    result += {'%', kDigits[code / 16], kDigits[code % 16]};
  }
  return result;
}

std::string Write(const Key& key) {
  std::string text = key.Path();
  char before = '{';
  for (const Pair& selector : key.Selectors()) {
    text += before + selector.name + "=" + Encode(selector.value);
    before = ',';
  }
  if (!key.Selectors().empty()) text += '}';
  if (!key.Column().empty()) text += "." + key.Column();
  for (const Pair& option : key.Options()) text += ":" + option.name + "=" + option.value;
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  Key key("a{b=c}.d:e=f");
  Check(key.Parse(text) == key.IsValid(), "a key is valid when it was read");
  if (!key.IsValid()) {
    Check(key.Selectors().empty() && key.Column().empty() && key.Options().empty(),
          "of a malformed key nothing is left");
    return 0;
  }
  const StringVector names('.', key.Path());
  Check(!names.empty() && std::all_of(names.begin(), names.end(), IsName),
        "a path is made of names");
  Check(key.Column().empty() || (IsName(key.Column()) && !key.Selectors().empty()),
        "a column is a name behind selectors");
  for (const Pair& selector : key.Selectors()) {
    Check(IsName(selector.name), "a selector has a name");
  }
  for (const Pair& option : key.Options()) {
    Check(IsName(option.name) && option.value.find(':') == std::string::npos,
          "an option has a name, and a value up to the next one");
    Check(key.Option(option.name) != nullptr, "an option can be found");
  }
  Check(Write(Key(Write(key))) == Write(key), "a key that is written anew is the same key");
  return 0;
}
