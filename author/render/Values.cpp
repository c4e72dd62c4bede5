// SPDX-License-Identifier: MIT
#include "author/render/Values.h"

#include <algorithm>
#include <utility>

#include "author/render/Canary.h"
#include "author/system/Failure.h"
#include "author/system/JsonFile.h"
#include "base/Characters.h"

namespace {

constexpr std::string_view kSettingPrefix = ":sys:";

using nlohmann::json;

// Returns false when the value is neither a text nor, for a table, rows of texts.
bool ReadRows(const json& value, std::size_t columns, std::vector<std::vector<std::string>>& rows) {
  if (!value.is_array()) return false;
  for (const json& cells : value) {
    if (!cells.is_array() || cells.size() > columns) return false;
    std::vector<std::string> row(columns);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (!cells[i].is_string()) return false;
      row[i] = cells[i].get<std::string>();
    }
    rows.push_back(std::move(row));
  }
  return true;
}

// The value of the key's option "format"; "" when it has none.
std::string FormatOf(const Config::Key::Key& key) {
  for (const Config::Key::Pair& option : key.Options()) {
    if (option.name == "format") return option.value;
  }
  return "";
}

// As far as the model tells: a provider may take further options.
bool KnowsOptions(const DeviceKey& definition, const Config::Key::Key& key) {
  const bool isTable = definition.type == ValueType::kTable;
  return std::all_of(key.Options().begin(), key.Options().end(), [&](const auto& option) {
    if (option.name == "format") {
      return option.value == "scalar" || option.value == "table" ||
             (isTable && option.value == "count");
    }
    if (isTable && option.name == "measured") return option.value == "once";
    return !definition.source.empty();
  });
}

// The cells of all columns from `first` on as one, row by row, with commas between them.
void JoinFrom(std::size_t first, std::vector<std::vector<std::string>>& columns) {
  std::string text;
  for (std::size_t row = 0; row < columns[first].size(); ++row) {
    for (std::size_t column = first; column < columns.size(); ++column) {
      if (row > 0 || column > first) text += ',';
      text += columns[column][row];
    }
  }
  columns.resize(first);
  columns.push_back({std::move(text)});
}

}  // namespace

Values::Values(DeviceModel model, const std::string& path) : model_(std::move(model)) {
  if (path.empty()) return;
  const json document = ReadJsonFile(path);
  const auto fail = [&path](const std::string& name, const std::string& what) {
    throw Failure("'" + path + "': '" + name + "' " + what);
  };
  if (!document.is_object()) throw Failure("'" + path + "' must hold an object");
  for (const auto& [name, value] : document.items()) {
    const bool refusal = name.compare(0, kSettingPrefix.size(), kSettingPrefix) == 0;
    const std::string key = refusal ? name.substr(kSettingPrefix.size()) : name;
    if (refusal && key.empty()) {
      if (!value.is_string()) fail(name, "must be a text in quotes");
      refusalOfAll_ = value.get<std::string>();
      continue;
    }
    const DeviceKey* definition = model_.Find(key);
    if (definition == nullptr) {
      const std::string nearest = model_.Nearest(key);
      fail(name, "is no key of the model" + (nearest.empty() ? "" : "; is it '" + nearest + "'?"));
    } else if (!refusal && definition->type == ValueType::kTable) {
      if (!ReadRows(value, definition->columns.size(), tables_[name])) {
        fail(name, "must be rows of at most " + std::to_string(definition->columns.size()) +
                       " texts: [[\"...\", ...], ...]");
      }
    } else if (!value.is_string()) {
      fail(name, "must be a text in quotes");
    } else {
      (refusal ? refusals_ : texts_)[key] = value.get<std::string>();
    }
  }
}

std::string Values::WithCanary(const std::string& value, ValueType type,
                               const std::string& name) const {
  return canaries_ && !IsHarmless(type) ? value + CanaryOf(name) : value;
}

bool Values::AppendTable(const DeviceKey& definition, const Config::Key::Key& key,
                         Columns& columns) const {
  const auto indexOf = [&definition](const std::string& name) {
    const DeviceColumn* column = definition.Column(name);
    return column == nullptr ? definition.columns.size()
                             : static_cast<std::size_t>(column - definition.columns.data());
  };
  for (const Config::Key::Pair& selector : key.Selectors()) {
    if (definition.Column(selector.name) == nullptr) return false;
  }
  if (!key.Column().empty() && definition.Column(key.Column()) == nullptr) return false;
  const auto keeps = [&](const Row& row) {
    return std::all_of(key.Selectors().begin(), key.Selectors().end(), [&](const auto& selector) {
      const std::size_t index = indexOf(selector.name);
      return definition.columns[index].type == ValueType::kMac
                 ? EqualIgnoringCase(row[index], selector.value)
                 : row[index] == selector.value;
    });
  };
  const auto found = tables_.find(definition.name);
  for (std::size_t i = 0; i < definition.columns.size(); ++i) {
    const DeviceColumn& column = definition.columns[i];
    if (!key.Column().empty() && key.Column() != column.name) continue;
    columns.emplace_back();
    if (found == tables_.end()) continue;
    for (const Row& row : found->second) {
      if (!keeps(row)) continue;
      columns.back().push_back(
          WithCanary(row[i], column.type, definition.name + "." + column.name));
    }
  }
  return true;
}

bool Values::Append(std::string_view keyText, Columns& columns) const {
  const Config::Key::Key key(keyText);
  const DeviceKey* definition = key.IsValid() ? model_.Find(key.Path()) : nullptr;
  if (definition == nullptr || !definition->CanBeRead() || !KnowsOptions(*definition, key))
    return false;
  if (definition->type == ValueType::kTable) {
    const std::size_t first = columns.size();
    if (!AppendTable(*definition, key, columns)) return false;
    if (FormatOf(key) == "scalar") JoinFrom(first, columns);
    if (FormatOf(key) == "count") {
      const std::string rows = std::to_string(columns[first].size());
      columns.resize(first);
      columns.push_back({rows});
    }
    return true;
  }
  // Only a source knows selectors; a setting or constant has none.
  if (!key.Column().empty()) return false;
  if (!key.Selectors().empty() && definition->source.empty()) return false;
  const auto given = texts_.find(definition->name);
  const std::string& value = given == texts_.end() ? definition->defaultValue : given->second;
  columns.push_back({WithCanary(value, definition->type, definition->name)});
  return true;
}

bool Values::Query(const StringTable& keys, StringTable& answer) const {
  Columns columns;
  if (keys.Rows() == 0) return false;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    if (!Append(keys.View(i, 0), columns)) return false;
  }
  std::size_t height = 0;
  for (const auto& column : columns) height = std::max(height, column.size());
  answer = StringTable(static_cast<unsigned>(columns.size()));
  std::vector<std::string_view> cells(columns.size());
  for (std::size_t row = 0; row < height; ++row) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      cells[i] = row < columns[i].size() ? columns[i][row] : std::string_view();
    }
    answer.AddCells(cells);
  }
  return true;
}

StringTable Values::Set(const StringTable& keys) const {
  StringTable answer(1);
  bool isRefused = false;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    const std::string name = keys.Get(i, 0);
    const DeviceKey* definition = model_.Find(name);
    const auto refusal = refusals_.find(name);
    if (definition == nullptr) {
      answer.AddRow("There is no such setting.");
    } else if (!definition->CanBeSet()) {
      answer.AddRow("This value can only be read.");
    } else {
      answer.AddRow(refusal == refusals_.end() ? "" : refusal->second.c_str());
    }
    isRefused |= !answer.View(i, 0).empty();
  }
  if (!isRefused && !refusalOfAll_.empty()) answer.AddRow(refusalOfAll_.c_str());
  return answer;
}
