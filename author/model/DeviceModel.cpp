// SPDX-License-Identifier: MIT
#include "author/model/DeviceModel.h"

#include <algorithm>
#include <map>
#include <utility>

#include "author/system/Failure.h"
#include "author/system/JsonFile.h"
#include "base/Characters.h"

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

constexpr std::size_t kLettersPerChange = 3;
constexpr std::size_t kMaxLetters = 200;  // the work grows with the square

// The number of letters to insert, remove, replace or exchange with their neighbours; capitals
// don't count.
std::size_t Changes(std::string_view from, std::string_view to) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> last;
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
  const auto same = [&](std::size_t i, std::size_t j) {
    return EqualIgnoringCase(from.substr(i, 1), to.substr(j, 1));
  };
  for (std::size_t i = 0; i < from.size(); ++i) {
    before = std::exchange(last, row);
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      row[j + 1] = std::min({last[j] + (same(i, j) ? 0 : 1), row[j] + 1, last[j + 1] + 1});
      const bool exchanged = i > 0 && j > 0 && same(i, j - 1) && same(i - 1, j);
      if (exchanged) row[j + 1] = std::min(row[j + 1], before[j - 1] + 1);
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
  const auto groupOf = [](std::string_view key) { return key.substr(0, key.rfind('.') + 1); };
  const std::string_view group = groupOf(name);
  const std::string_view word = name.substr(group.size());
  std::string nearest;  // in that group
  std::string moved;    // with that word, in another group
  std::vector<std::string> others;
  std::size_t most = std::max(word.size() / kLettersPerChange, std::size_t{1});
  for (const DeviceKey& key : keys_) {
    const std::string_view its = groupOf(key.name);
    const std::string_view itsWord = std::string_view(key.name).substr(its.size());
    if (!EqualIgnoringCase(its, group)) {
      others.push_back(key.name);
      if (EqualIgnoringCase(itsWord, word)) moved = key.name;
      continue;
    }
    const std::size_t changes = word.size() > kMaxLetters ? most + 1 : Changes(word, itsWord);
    if (changes > most || (changes == most && !nearest.empty())) continue;
    most = changes;
    nearest = key.name;
  }
  if (!nearest.empty()) return nearest;
  return moved.empty() ? NearestName(name, others) : moved;
}

std::string NearestName(std::string_view name, const std::vector<std::string>& candidates) {
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
