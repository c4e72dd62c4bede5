// SPDX-License-Identifier: MIT
#include "author/model/DeviceModel.h"

#include <algorithm>
#include <map>

#include "author/system/Failure.h"
#include "author/system/JsonFile.h"

namespace {

using nlohmann::json;

const std::map<std::string, ValueType, std::less<>> kTypes = {
    {"text", ValueType::kText},
    {"integer", ValueType::kInteger},
    {"boolean", ValueType::kBoolean},
    {"enumeration", ValueType::kEnumeration},
    {"mac", ValueType::kMac},
    {"ipv4", ValueType::kIpv4},
    {"time-zone", ValueType::kTimeZone},
    {"password", ValueType::kPassword},
    {"table", ValueType::kTable}};
const std::map<std::string, Access, std::less<>> kAccess = {{"read", Access::kRead},
                                                            {"read-write", Access::kReadWrite},
                                                            {"write-only", Access::kWriteOnly},
                                                            {"action", Access::kAction},
                                                            {"parameter", Access::kParameter},
                                                            {"ticket", Access::kTicket}};

template <typename Value>
Value Choose(const std::map<std::string, Value, std::less<>>& words, const std::string& word) {
  const auto found = words.find(word);
  if (found == words.end()) throw Failure("'" + word + "' is no type or access");
  return found->second;
}

DeviceKey ReadKey(const json& object) {
  DeviceKey key;
  key.name = object.at("key").get<std::string>();
  key.type = Choose(kTypes, object.at("type").get<std::string>());
  key.access = Choose(kAccess, object.at("access").get<std::string>());
  key.help = object.value("help", "");
  const auto source = object.find("source");
  if (source != object.end())
    key.source = source->is_string() ? source->get<std::string>() : "file";
  if (key.access == Access::kTicket) key.source = "tickets";
  key.defaultValue = object.value("default", "");
  if (object.contains("minimum")) key.minimum = object.at("minimum").get<std::int64_t>();
  if (object.contains("maximum")) key.maximum = object.at("maximum").get<std::int64_t>();
  key.values = object.value("values", std::vector<std::string>());
  if (key.type == ValueType::kBoolean) key.values = {"0", "1"};
  if (!object.contains("columns")) return key;
  for (const json& column : object.at("columns")) {
    key.columns.push_back({column.at("name").get<std::string>(),
                           Choose(kTypes, column.at("type").get<std::string>()),
                           column.value("help", "")});
  }
  return key;
}

// The number of letters to insert, remove or replace (the distance of Levenshtein).
std::size_t Changes(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

const DeviceColumn* DeviceKey::Column(std::string_view columnName) const {
  for (const DeviceColumn& column : columns) {
    if (column.name == columnName) return &column;
  }
  return nullptr;
}

bool IsHarmless(ValueType type) {
  return type != ValueType::kText && type != ValueType::kPassword && type != ValueType::kTable;
}

DeviceModel DeviceModel::Read(const std::string& path) {
  const json document = ReadJsonFile(path);
  DeviceModel model;
  try {
    for (const json& key : document.at("keys")) model.keys_.push_back(ReadKey(key));
  } catch (const json::exception& error) {
    throw Failure("'" + path + "' is no model: " + ReasonOf(error));
  } catch (const Failure& failure) {
    throw Failure("'" + path + "' is no model: " + failure.what());
  }
  return model;
}

const DeviceKey* DeviceModel::Find(std::string_view name) const {
  for (const DeviceKey& key : keys_) {
    if (key.name == name) return &key;
  }
  return nullptr;
}

std::string DeviceModel::Nearest(std::string_view name) const {
  std::vector<std::string> names;
  for (const DeviceKey& key : keys_) names.push_back(key.name);
  return NearestName(name, names);
}

std::string NearestName(std::string_view name, const std::vector<std::string>& candidates) {
  constexpr std::size_t kLettersPerChange = 3;
  constexpr std::size_t kMaxLetters = 200;  // the work grows with the square
  std::string nearest;
  if (name.size() > kMaxLetters) return nearest;
  std::size_t fewest = name.size() / kLettersPerChange + 1;
  for (const std::string& candidate : candidates) {
    if (candidate == name || candidate.size() > kMaxLetters) continue;
    const std::size_t changes = Changes(name, candidate);
    if (changes < fewest) {
      fewest = changes;
      nearest = candidate;
    }
  }
  return nearest;
}
