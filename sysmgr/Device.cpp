// SPDX-License-Identifier: MIT
//
// A query collects columns, key after key, and makes rows of them at the end.
#include "sysmgr/Device.h"

#include <algorithm>
#include <set>
#include <utility>

#include "sysmgr/Check.h"
#include "sysmgr/Failure.h"

namespace {

// "0:,": what a cell costs at least.
constexpr std::size_t kMinCellBytes = 3;

struct Filter {
  std::size_t column;
  const std::string* value;
  bool isMac;
};

bool Keeps(const std::vector<Filter>& filters, const LiveRow& row) {
  return std::all_of(filters.begin(), filters.end(), [&row](const Filter& filter) {
    return filter.isMac ? Config::Key::EqualMacAddresses(row[filter.column], *filter.value)
                        : row[filter.column] == *filter.value;
  });
}

const ModelColumn* FindColumn(const ModelKey& table, std::string_view name) {
  for (const ModelColumn& column : table.columns) {
    if (column.name == name) return &column;
  }
  return nullptr;
}

std::size_t IndexOf(const std::vector<std::string>& names, std::string_view name) {
  return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

}  // namespace

// One cell with the text.
void Device::Collection::AddText(std::string text) {
  texts.push_back(std::move(text));
  columns.push_back({texts.back()});
}

// Makes one cell of the columns from `first` on: the cells row by row, with commas between them.
void Device::Collection::JoinFrom(std::size_t first) {
  std::string text;
  for (std::size_t row = 0; row < columns[first].size(); ++row) {
    for (std::size_t column = first; column < columns.size(); ++column) {
      if (row > 0 || column > first) text += ',';
      text += columns[column][row];
    }
  }
  columns.resize(first);
  AddText(std::move(text));
}

std::size_t Device::Collection::BytesFrom(std::size_t first) const {
  std::size_t bytes = 0;
  for (std::size_t column = first; column < columns.size(); ++column) {
    for (const std::string_view cell : columns[column]) bytes += cell.size() + kMinCellBytes;
  }
  return bytes;
}

Device::Device(const Model& model, LiveSource& live, Storage& storage)
    : model_(model), live_(live), storage_(storage) {
  for (const ModelKey& key : model.Keys()) {
    if (key.source.empty()) continue;
    const std::string where = "model, key '" + key.name + "': ";
    if (key.type != ValueType::kTable) {
      if (!live.HasValue(key.source)) {
        throw StartFailure(where + "there is no source '" + key.source + "' of a single value");
      }
      continue;
    }
    const std::vector<std::string>* columns = live.Columns(key.source);
    if (columns == nullptr) {
      throw StartFailure(where + "there is no source '" + key.source + "' of a table");
    }
    for (const ModelColumn& column : key.columns) {
      if (IndexOf(*columns, column.name) == columns->size()) {
        throw StartFailure(where + "source '" + key.source + "' has no column '" + column.name +
                           "'");
      }
    }
  }
}

std::string Device::AppendTable(const ModelKey& definition, const Config::Key::Key& key,
                                Collection& collection) {
  const std::vector<std::string>& names = *live_.Columns(definition.source);
  std::vector<Filter> filters;
  for (const Config::Key::Pair& selector : key.Selectors()) {
    const ModelColumn* column = FindColumn(definition, selector.name);
    if (column == nullptr) return "has no column " + selector.name;
    filters.push_back(
        {IndexOf(names, selector.name), &selector.value, column->type == ValueType::kMac});
  }
  std::vector<std::size_t> wanted;
  if (key.Column().empty()) {
    for (const ModelColumn& column : definition.columns) {
      wanted.push_back(IndexOf(names, column.name));
    }
  } else if (FindColumn(definition, key.Column()) != nullptr) {
    wanted.push_back(IndexOf(names, key.Column()));
  } else {
    return "has no column " + key.Column();
  }
  auto& columns = collection.columns;
  const std::size_t first = columns.size();
  columns.resize(first + wanted.size());
  collection.rows.push_back(live_.Rows(definition.source));
  for (const LiveRow& row : *collection.rows.back()) {
    if (!Keeps(filters, row)) continue;
    for (std::size_t i = 0; i < wanted.size(); ++i) columns[first + i].push_back(row[wanted[i]]);
  }
  return "";
}

std::string Device::AppendKey(std::string_view text, std::string_view client,
                              Collection& collection) {
  const Config::Key::Key key(text);
  if (!key.IsValid()) return "is malformed";
  const ModelKey* definition = model_.Find(key.Path());
  if (definition == nullptr) return "is unknown";
  if (definition->access == Access::kWriteOnly) return "can't be read";
  if (!definition->IsOpenTo(client)) return "is not open to this client";
  bool joined = false;
  for (const Config::Key::Pair& option : key.Options()) {
    if (option.name != "format") return "has no option " + option.name;
    if (option.value != "scalar" && option.value != "table") return "has no such format";
    joined = option.value == "scalar";
  }
  if (definition->type == ValueType::kTable) {
    const std::size_t first = collection.columns.size();
    std::string problem = AppendTable(*definition, key, collection);
    if (problem.empty() && joined) collection.JoinFrom(first);
    return problem;
  }
  if (!key.Selectors().empty()) return "is not a table";
  if (definition->IsSetting()) {
    collection.columns.push_back({storage_.Get(definition->name)});
  } else if (definition->source.empty()) {
    collection.columns.push_back({definition->defaultValue});
  } else {
    collection.AddText(live_.Value(definition->source));
  }
  return "";
}

bool Device::Query(const StringTable& keys, std::string_view client, StringTable& answer,
                   std::string& problem) {
  if (keys.Rows() == 0 || keys.Columns() != 1) {
    problem = "a query is a table of one column with a row for each key";
    return false;
  }
  if (keys.Rows() > kMaxKeysPerRequest) {
    problem = "more than " + std::to_string(kMaxKeysPerRequest) + " keys";
    return false;
  }
  Collection collection;
  const auto& columns = collection.columns;
  std::size_t bytes = 0;
  std::size_t rows = 0;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    const std::string_view text = keys.View(i, 0);
    const std::size_t first = columns.size();
    problem = AppendKey(text, client, collection);
    if (!problem.empty()) {
      problem.insert(0, "key '" + std::string(text) + "' ");
      return false;
    }
    bytes += collection.BytesFrom(first);
    for (std::size_t c = first; c < columns.size(); ++c) rows = std::max(rows, columns[c].size());
    if (bytes > kMaxAnswerBytes || rows * columns.size() * kMinCellBytes > kMaxAnswerBytes) {
      problem = "the answer would be larger than " + std::to_string(kMaxAnswerBytes) + " bytes";
      return false;
    }
  }
  StringTable result(static_cast<unsigned>(columns.size()));
  std::vector<std::string_view> cells(columns.size());
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      cells[c] = row < columns[c].size() ? columns[c][row] : std::string_view();
    }
    result.AddCells(cells);
  }
  answer = std::move(result);
  return true;
}

std::string Device::CheckSetting(std::string_view text, std::string_view value,
                                 std::string_view client) {
  const Config::Key::Key key(text);
  if (!key.IsValid()) return "is not the name of a setting";
  const ModelKey* definition = model_.Find(key.Path());
  if (definition == nullptr) return "there is no such setting";
  if (!definition->IsSetting()) return "can only be read";
  if (key.Path() != text) return "can only be set as a whole";
  if (!definition->IsOpenTo(client)) return "is not open to this client";
  return CheckValue(*definition, value);
}

std::string Device::CheckTogether(const Storage::Batch& batch) const {
  const auto valueOf = [&](const std::string& key) {
    for (const auto& [name, value] : batch) {
      if (name == key) return value;
    }
    return storage_.Get(key);
  };
  for (const ModelRule& rule : model_.Rules()) {
    const bool concerned = std::any_of(batch.begin(), batch.end(), [&rule](const auto& setting) {
      return rule.Concerns(setting.first);
    });
    if (!concerned) continue;
    std::string problem = CheckRule(rule, valueOf);
    if (!problem.empty()) return problem;
  }
  return "";
}

StringTable Device::Set(const StringTable& keys, const StringTable& values,
                        std::string_view client) {
  StringTable answer(1);
  Storage::Batch batch;
  std::set<std::string_view> seen;
  bool fine = true;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    const std::string_view name = keys.View(i, 0);
    const std::string_view value = values.View(i, 0);
    std::string problem = CheckSetting(name, value, client);
    if (problem.empty() && !seen.insert(name).second) problem = "is there twice";
    if (!problem.empty()) fine = false;
    answer.AddCells({problem});
    batch.emplace_back(name, value);
  }
  if (!fine || batch.empty()) return answer;
  std::string problem = CheckTogether(batch);
  if (problem.empty()) problem = storage_.Store(batch);
  if (!problem.empty()) answer.AddCells({problem});
  return answer;
}
