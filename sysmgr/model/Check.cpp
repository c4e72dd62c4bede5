// SPDX-License-Identifier: MIT
//
// One function per type of value; the switch at the end picks it.
#include "sysmgr/model/Check.h"

#include <algorithm>

#include "base/Characters.h"
#include "base/Number.h"
#include "base/Utf8.h"
#include "sysmgr/clock/Zones.h"

namespace {

constexpr std::size_t kMacSize = 17;  // six pairs of digits, five colons

// The facts about a text that CheckText needs.
struct TextFacts {
  bool isUtf8 = true;
  bool hasControls = false;
  std::int64_t characters = 0;
};

TextFacts Examine(std::string_view text) {
  TextFacts facts;
  for (; !text.empty(); ++facts.characters) {
    const std::size_t size = Utf8::CharacterSize(text);
    if (size == 0) {
      facts.isUtf8 = false;
      break;
    }
    if (Utf8::IsControl(text.substr(0, size))) facts.hasControls = true;
    text.remove_prefix(size);
  }
  return facts;
}

Outcome WrongLength(const ModelKey& key) {
  const std::string minimum = std::to_string(key.minimum);
  const std::string maximum = std::to_string(key.maximum);
  if (key.minimum == key.maximum) {
    if (key.maximum == 1) return Sentence::kCharacterExactly;
    return {Sentence::kCharactersExactly, {maximum}};
  }
  if (key.minimum > 0) return {Sentence::kCharacters, {minimum, maximum}};
  if (key.maximum == 1) return Sentence::kCharacterAtMost;
  return {Sentence::kCharactersAtMost, {maximum}};
}

Outcome WrongPattern(const ModelKey& key) {
  return Outcome::InWordsOfTheModel(key.patternHelp);
}

Outcome WrongNumber(const ModelKey& key) {
  const std::string minimum = std::to_string(key.minimum);
  if (key.minimum == key.maximum) return {Sentence::kNumberExactly, {minimum}};
  return {Sentence::kNumber, {minimum, std::to_string(key.maximum)}};
}

Outcome WrongChoice(const std::vector<std::string>& words) {
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) list += i + 1 < words.size() ? ", " : " or ";
    list += words[i];
  }
  return {Sentence::kChoice, {list}};
}

Outcome CheckText(const ModelKey& key, std::string_view value) {
  const TextFacts facts = Examine(value);
  if (!facts.isUtf8) return Sentence::kNotUtf8;
  if (facts.characters < key.minimum || facts.characters > key.maximum) return WrongLength(key);
  if (facts.hasControls) return Sentence::kControls;
  if (key.pattern != nullptr && !key.pattern->Match(std::string(value))) return WrongPattern(key);
  return {};
}

Outcome CheckInteger(const ModelKey& key, std::string_view value) {
  std::int64_t number = 0;
  if (ParseInteger(value, number) && number >= key.minimum && number <= key.maximum) return {};
  return WrongNumber(key);
}

const std::vector<std::string>& BooleanWords() {
  static const std::vector<std::string> kWords = {"0", "1"};
  return kWords;
}

Outcome CheckWord(const std::vector<std::string>& words, std::string_view value) {
  if (std::find(words.begin(), words.end(), value) != words.end()) return {};
  return WrongChoice(words);
}

Outcome CheckMac(std::string_view value) {
  bool fine = value.size() == kMacSize;
  for (std::size_t i = 0; fine && i < kMacSize; ++i) {
    fine = i % 3 == 2 ? value[i] == ':' : HexValue(value[i]) >= 0;
  }
  if (!fine) return Sentence::kMacAddress;
  return {};
}

Outcome CheckIpv4(const ModelKey& key, std::string_view value) {
  std::uint32_t address = 0;
  const bool parsed = ParseIpv4(value, address);
  if (key.netmask) {
    const std::uint32_t hosts = ~address;
    if (parsed && address != 0 && (hosts & (hosts + 1)) == 0) return {};
    return Sentence::kNetworkMask;
  }
  constexpr std::uint32_t kFirstMulticast = 0xE0000000;
  const std::uint32_t block = address >> 24;
  if (parsed && block != 0 && block != 127 && address < kFirstMulticast) return {};
  return Sentence::kDeviceAddress;
}

Outcome CheckTimeZone(std::string_view value) {
  if (Zones::Find(value) != nullptr) return {};
  return Sentence::kTimeZone;
}

}  // namespace

std::string NormalForm(const ModelKey& key, std::string_view value) {
  const bool isAddress = key.type == ValueType::kIpv4 || key.type == ValueType::kMac;
  if (!isAddress && key.group == 0) return std::string(value);
  constexpr std::string_view kBlanks = " \t\r\n";
  std::string text;
  if (key.group > 0) {
    std::int64_t letters = 0;
    for (const char byte : value) {
      if (byte == '-' || kBlanks.find(byte) != std::string_view::npos) continue;
      if (letters > 0 && letters % key.group == 0) text += '-';
      text += byte;
      ++letters;
    }
    return text;
  }
  const std::size_t first = value.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return "";
  text = value.substr(first, value.find_last_not_of(kBlanks) + 1 - first);
  if (key.type == ValueType::kIpv4) {
    std::replace(text.begin(), text.end(), ',', '.');
  } else {
    std::replace(text.begin(), text.end(), '-', ':');
  }
  return text;
}

bool ParseIpv4(std::string_view text, std::uint32_t& address) {
  std::uint32_t result = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (text.empty() || text.front() != '.') return false;
      text.remove_prefix(1);
    }
    unsigned number = 0;
    if (!TakeDecimal(text, number) || number > 255) return false;
    result = result << 8 | number;
  }
  if (!text.empty()) return false;
  address = result;
  return true;
}

Outcome CheckValue(const ModelKey& key, std::string_view value) {
  if (key.optional && value.empty()) return {};
  switch (key.type) {
    case ValueType::kText:
    case ValueType::kPassword:
      return CheckText(key, value);
    case ValueType::kInteger:
      return CheckInteger(key, value);
    case ValueType::kBoolean:
      return CheckWord(BooleanWords(), value);
    case ValueType::kEnumeration:
      return CheckWord(key.values, value);
    case ValueType::kMac:
      return CheckMac(value);
    case ValueType::kIpv4:
      return CheckIpv4(key, value);
    case ValueType::kTimeZone:
      return CheckTimeZone(value);
    case ValueType::kTable:
      break;
  }
  return Sentence::kReadOnly;
}

std::vector<std::string> SentencesOf(const ModelKey& key) {
  const auto text = [](const Outcome& outcome) { return outcome.Text(); };
  switch (key.type) {
    case ValueType::kText:
    case ValueType::kPassword: {
      std::vector<std::string> texts = {text(Sentence::kNotUtf8), text(WrongLength(key)),
                                        text(Sentence::kControls)};
      if (key.pattern != nullptr) texts.push_back(text(WrongPattern(key)));
      return texts;
    }
    case ValueType::kInteger:
      return {text(WrongNumber(key))};
    case ValueType::kBoolean:
      return {text(WrongChoice(BooleanWords()))};
    case ValueType::kEnumeration:
      return {text(WrongChoice(key.values))};
    case ValueType::kMac:
      return {text(Sentence::kMacAddress)};
    case ValueType::kIpv4:
      return {text(key.netmask ? Sentence::kNetworkMask : Sentence::kDeviceAddress)};
    case ValueType::kTimeZone:
      return {text(Sentence::kTimeZone)};
    case ValueType::kTable:
      break;
  }
  return {text(Sentence::kReadOnly)};
}

Outcome CheckRule(const ModelRule& rule, const ValueOf& valueOf) {
  if (!rule.whenKey.empty() && valueOf(rule.whenKey) != rule.whenValue) return {};
  const Outcome broken = Outcome::InWordsOfTheModel(rule.message);
  if (rule.kind == ModelRule::Kind::kRequired) {
    const bool anyEmpty = std::any_of(rule.keys.begin(), rule.keys.end(),
                                      [&](const std::string& key) { return valueOf(key).empty(); });
    return anyEmpty ? broken : Outcome();
  }
  std::uint32_t address = 0;
  std::uint32_t mask = 0;
  std::uint32_t gateway = 0;
  // `required` rules report empty settings.
  if (!ParseIpv4(valueOf(rule.keys[0]), address) || !ParseIpv4(valueOf(rule.keys[1]), mask) ||
      !ParseIpv4(valueOf(rule.keys[2]), gateway)) {
    return {};
  }
  const auto isHost = [mask](std::uint32_t candidate) {
    // In a network of more than two addresses, the first is the network's own and the last its
    // broadcast address.
    const std::uint32_t host = candidate & ~mask;
    return ~mask < 3 || (host != 0 && host != ~mask);
  };
  const bool fine = (address & mask) == (gateway & mask) && address != gateway && isHost(address) &&
                    isHost(gateway);
  return fine ? Outcome() : broken;
}
