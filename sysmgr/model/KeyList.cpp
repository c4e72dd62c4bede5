// SPDX-License-Identifier: MIT
//
// Limits are told in words, for people; programs get them by trying a value with "setting-check".
#include "sysmgr/model/KeyList.h"

#include <cstdint>
#include <limits>

#include "sysmgr/model/ModelParts.h"
#include "sysmgr/model/ModelReader.h"

namespace KeyList {
namespace {

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : ", ").append(word);
  return text;
}

std::string LimitsOf(const ModelKey& key) {
  const std::string range = std::to_string(key.minimum) + " to " + std::to_string(key.maximum);
  std::vector<std::string> names;
  switch (key.type) {
    case ValueType::kText:
    case ValueType::kPassword:
      return key.maximum == kMaxTextCharacters ? "" : range + " characters";
    case ValueType::kInteger:
      // A number from a source may have no limits.
      return key.minimum == std::numeric_limits<std::int64_t>::min() ? "" : range;
    case ValueType::kBoolean:
      return "0, 1";
    case ValueType::kEnumeration:
      return Joined(key.values);
    case ValueType::kIpv4:
      return key.netmask ? "a network mask" : "";
    case ValueType::kTimeZone:
      return "a name of the tz database";
    case ValueType::kTable:
      for (const ModelColumn& column : key.columns) names.push_back(column.name);
      return Joined(names);
    case ValueType::kMac:
      break;
  }
  return "";
}

std::string LimitsInWords(const ModelKey& key) {
  std::string text = LimitsOf(key);
  if (key.optional) text += text.empty() ? "or empty" : ", or empty";
  if (key.pattern != nullptr) text += ". " + key.patternHelp;
  return text;
}

}  // namespace

const std::vector<std::string>& Columns() {
  static const std::vector<std::string> kColumns = {"Key", "Type", "Access", "Limits", "Help"};
  return kColumns;
}

ModelKey Definition() {
  ModelKey key;
  key.name = kKey;
  key.type = ValueType::kTable;
  key.source = kSource;
  key.help = "These keys.";
  for (const std::string& column : Columns()) key.columns.push_back({column});
  return key;
}

std::vector<std::vector<std::string>> Rows(const Model& model, std::string_view client) {
  std::vector<std::vector<std::string>> rows;
  for (const ModelKey& key : model.Keys()) {
    if (!key.IsOpenTo(client)) continue;
    rows.push_back({key.name, std::string(ModelParts::WordOf(key.type)),
                    std::string(ModelParts::WordOf(key.access)), LimitsInWords(key), key.help});
  }
  return rows;
}

}  // namespace KeyList
