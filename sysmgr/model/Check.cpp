// SPDX-License-Identifier: MIT
//
// One function per type of value; the switch at the end picks it.
#include "sysmgr/model/Check.h"

#include <algorithm>

#include "base/Characters.h"
#include "base/Number.h"
#include "base/Utf8.h"

namespace {

constexpr std::size_t kMacSize = 17;  // six pairs of digits, five colons

// What CheckText has to know of a text.
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

std::string Range(std::int64_t minimum, std::int64_t maximum) {
  if (minimum == maximum) return std::to_string(minimum);
  return std::to_string(minimum) + " to " + std::to_string(maximum);
}

std::string CheckText(const ModelKey& key, std::string_view value) {
  const TextFacts facts = Examine(value);
  if (!facts.isUtf8) return "must be text in UTF-8";
  if (facts.characters < key.minimum || facts.characters > key.maximum) {
    return "must be " + Range(key.minimum, key.maximum) +
           (key.maximum == 1 ? " character" : " characters");
  }
  if (facts.hasControls) return "must not hold control characters";
  if (key.pattern != nullptr && !key.pattern->Match(std::string(value))) return key.patternHelp;
  return "";
}

std::string CheckInteger(const ModelKey& key, std::string_view value) {
  std::int64_t number = 0;
  if (ParseInteger(value, number) && number >= key.minimum && number <= key.maximum) return "";
  if (key.minimum == key.maximum) return "must be " + std::to_string(key.minimum);
  return "must be a whole number from " + Range(key.minimum, key.maximum);
}

std::string CheckEnumeration(const ModelKey& key, std::string_view value) {
  if (std::find(key.values.begin(), key.values.end(), value) != key.values.end()) return "";
  std::string text = "must be one of ";
  for (const std::string& word : key.values) {
    if (&word != &key.values.front()) text += ", ";
    text += word;
  }
  return text;
}

std::string CheckMac(std::string_view value) {
  bool fine = value.size() == kMacSize;
  for (std::size_t i = 0; fine && i < kMacSize; ++i) {
    fine = i % 3 == 2 ? value[i] == ':' : HexValue(value[i]) >= 0;
  }
  return fine ? "" : "must be a MAC address such as 02:00:00:12:34:56";
}

std::string CheckIpv4(const ModelKey& key, std::string_view value) {
  std::uint32_t address = 0;
  const bool parsed = ParseIpv4(value, address);
  if (key.netmask) {
    const std::uint32_t hosts = ~address;
    if (parsed && address != 0 && (hosts & (hosts + 1)) == 0) return "";
    return "must be a network mask such as 255.255.255.0";
  }
  constexpr std::uint32_t kFirstMulticast = 0xE0000000;
  const std::uint32_t block = address >> 24;
  if (parsed && block != 0 && block != 127 && address < kFirstMulticast) return "";
  return "must be the IPv4 address of a device, such as 192.168.1.10";
}

}  // namespace

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

std::string CheckValue(const ModelKey& key, std::string_view value) {
  if (key.optional && value.empty()) return "";
  switch (key.type) {
    case ValueType::kText:
    case ValueType::kPassword:
      return CheckText(key, value);
    case ValueType::kInteger:
      return CheckInteger(key, value);
    case ValueType::kBoolean:
      return value == "0" || value == "1" ? "" : "must be 0 or 1";
    case ValueType::kEnumeration:
      return CheckEnumeration(key, value);
    case ValueType::kMac:
      return CheckMac(value);
    case ValueType::kIpv4:
      return CheckIpv4(key, value);
    case ValueType::kTable:
      break;
  }
  return "must not be set as a whole";
}

std::string CheckRule(const ModelRule& rule, const ValueOf& valueOf) {
  if (!rule.whenKey.empty() && valueOf(rule.whenKey) != rule.whenValue) return "";
  if (rule.kind == ModelRule::Kind::kRequired) {
    const bool anyEmpty = std::any_of(rule.keys.begin(), rule.keys.end(),
                                      [&](const std::string& key) { return valueOf(key).empty(); });
    return anyEmpty ? rule.message : "";
  }
  std::uint32_t address = 0;
  std::uint32_t mask = 0;
  std::uint32_t gateway = 0;
  // Empty settings are another rule's business.
  if (!ParseIpv4(valueOf(rule.keys[0]), address) || !ParseIpv4(valueOf(rule.keys[1]), mask) ||
      !ParseIpv4(valueOf(rule.keys[2]), gateway)) {
    return "";
  }
  const auto isHost = [mask](std::uint32_t candidate) {
    // The first address of a network is its name and the last its broadcast, where it has more
    // than two.
    const std::uint32_t host = candidate & ~mask;
    return ~mask < 3 || (host != 0 && host != ~mask);
  };
  const bool fine = (address & mask) == (gateway & mask) && address != gateway && isHost(address) &&
                    isHost(gateway);
  return fine ? "" : rule.message;
}
