// SPDX-License-Identifier: MIT
//
// A query collects columns, key after key, and finally makes rows of them. Sets are in
// DeviceSet.cpp.
#include "sysmgr/device/Device.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "base/Characters.h"
#include "base/RegularFile.h"
#include "base/Utf8.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

// The smallest serialised cell, "0:,".
constexpr std::size_t kMinCellBytes = 3;

// With the value "once": the rows are those that the client has got before on its connection.
constexpr const char* kMeasured = "measured";

struct Filter {
  std::size_t column;
  const std::string* value;
  bool isMac;
};

bool Keeps(const std::vector<Filter>& filters, const LiveRow& row) {
  return std::all_of(filters.begin(), filters.end(), [&row](const Filter& filter) {
    return filter.isMac ? EqualIgnoringCase(row[filter.column], *filter.value)
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

bool Names(const std::vector<std::string>& names, std::string_view name) {
  return IndexOf(names, name) < names.size();
}

// The first name in the key that is not a known one; null when there is none.
const std::string* FindStranger(const std::vector<Config::Key::Pair>& pairs,
                                const std::vector<std::string>& known) {
  for (const Config::Key::Pair& pair : pairs) {
    if (!Names(known, pair.name)) return &pair.name;
  }
  return nullptr;
}

}  // namespace

// Adds a cell with the text.
void Device::Collection::AddText(std::string text) {
  texts.push_back(std::move(text));
  columns.push_back({texts.back()});
}

std::string_view Device::Collection::MakeSafe(std::string_view cell) {
  if (Utf8::IsSafe(cell)) return cell;
  std::string safe;
  Utf8::AppendSafe(safe, cell);
  texts.push_back(std::move(safe));
  return texts.back();
}

// Joins the columns from `first` on into one cell: their cells row by row, with commas between
// them.
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

// Puts the number of rows in place of the columns from `first` on.
void Device::Collection::CountFrom(std::size_t first) {
  const std::size_t height = columns[first].size();
  columns.resize(first);
  AddText(std::to_string(height));
}

std::size_t Device::Collection::BytesFrom(std::size_t first) const {
  std::size_t bytes = 0;
  for (std::size_t column = first; column < columns.size(); ++column) {
    for (const std::string_view cell : columns[column]) bytes += cell.size() + kMinCellBytes;
  }
  return bytes;
}

// Shorter columns are filled up with empty cells.
std::string Device::Collection::Serialize() const {
  std::size_t height = 0;
  for (const auto& column : columns) height = std::max(height, column.size());
  return StringTable::Serialize(static_cast<unsigned>(columns.size()),
                                static_cast<unsigned>(height), [this](unsigned row, unsigned c) {
                                  return row < columns[c].size() ? columns[c][row]
                                                                 : std::string_view();
                                });
}

Outcome Device::AppendTable(const Item& item, Collection& collection, bool& isMissing) {
  const ModelKey& definition = item.definition;
  const Config::Key::Key& key = item.question.key;
  const TableSource* const table = sources_.FindTable(definition.source);
  if (table == nullptr) return Sentence::kNoDevice;
  const std::vector<std::string>& names = table->columns;
  std::vector<Filter> filters;
  for (const Config::Key::Pair& selector : key.Selectors()) {
    const ModelColumn* column = FindColumn(definition, selector.name);
    if (column == nullptr) return Outcome(Sentence::kNoColumn).AboutName(selector.name);
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
    return Outcome(Sentence::kNoColumn).AboutName(key.Column());
  }
  isMissing = table->ask && item.answer == nullptr;
  if (isMissing) return {};
  if (item.answer != nullptr && !item.answer->outcome.IsSuccess()) return item.answer->outcome;
  collection.rows.push_back(item.answer != nullptr ? item.answer->rows
                                                   : table->rows(item.question));
  if (collection.rows.back() == nullptr) return Sentence::kNoValueYet;
  // Another provider may offer the table since this one was asked.
  if (item.answer != nullptr && item.answer->columns != names) return Sentence::kNoDevice;
  const auto& rows = *collection.rows.back();
  auto& columns = collection.columns;
  const std::size_t first = columns.size();
  columns.resize(first + wanted.size());
  if (filters.empty()) {
    for (std::size_t i = first; i < columns.size(); ++i) columns[i].reserve(rows.size());
  }
  for (const LiveRow& row : rows) {
    if (!Keeps(filters, row)) continue;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      columns[first + i].push_back(collection.MakeSafe(row[wanted[i]]));
    }
  }
  return {};
}

Outcome Device::AppendValue(const Item& item, Collection& collection, bool& isMissing) {
  const Config::Key::Key& key = item.question.key;
  const ValueSource* const source = sources_.FindValue(item.definition.source);
  if (source == nullptr) return Sentence::kNoDevice;
  if (!key.Column().empty()) return Sentence::kNoTable;
  if (source->selectors.empty() && !key.Selectors().empty()) return Sentence::kNoTable;
  if (const std::string* name = FindStranger(key.Selectors(), source->selectors)) {
    return Outcome(Sentence::kNoSelector).AboutName(*name);
  }
  if (source->makesFile && collection.files.size() == kMaxFilesPerQuery) {
    return {Sentence::kTooManyFiles, {std::to_string(kMaxFilesPerQuery)}};
  }
  isMissing = source->ask && item.answer == nullptr;
  if (isMissing) {
    if (source->makesFile) collection.files.emplace_back();  // it counts already
    return {};
  }
  LiveValue value;
  if (item.answer == nullptr) {
    value = source->value(item.question);
  } else {
    value.outcome = item.answer->outcome;
    if (value.outcome.IsSuccess()) value.text = item.answer->rows->front().front();
  }
  if (value.outcome.IsSuccess()) {
    if (source->makesFile) collection.files.push_back(value.text);
    collection.AddText(std::move(value.text));
  }
  return std::move(value.outcome);
}

Outcome Device::AppendLive(const Item& item, Format format, Collection& collection,
                           bool& isMissing) {
  const std::size_t first = collection.columns.size();
  const bool isTable = item.definition.type == ValueType::kTable;
  Outcome outcome =
      isTable ? AppendTable(item, collection, isMissing) : AppendValue(item, collection, isMissing);
  if (!outcome.IsSuccess() || isMissing) return outcome;
  collection.liveBytes += collection.BytesFrom(first);
  if (collection.liveBytes > kMaxLiveBytes) {
    return {Sentence::kLiveValuesTooLarge, {std::to_string(kMaxLiveBytes)}};
  }
  if (isTable && format == Format::kScalar) collection.JoinFrom(first);
  if (isTable && format == Format::kCount) collection.CountFrom(first);
  return {};
}

Outcome Device::AppendFile(const ModelKey& definition, const Config::Key::Key& key,
                           Collection& collection) const {
  if (!key.Column().empty() || !key.Selectors().empty()) return Sentence::kNoTable;
  const OpenedFile file = OpenRegularFile(definition.file);
  char bytes[kMaxFileLineBytes];
  const ssize_t count = read(file.descriptor.Number(), bytes, sizeof bytes);
  if (count < 0) return Sentence::kNoValue;
  std::string_view line(bytes, static_cast<std::size_t>(count));
  line = line.substr(0, line.find('\n'));
  std::string text;
  Utf8::AppendSafe(text, line);
  if (!CheckValue(definition, text).IsSuccess()) return Sentence::kNoValue;
  collection.AddText(std::move(text));
  return {};
}

const std::vector<std::string>& Device::OptionsOf(const ModelKey& definition) const {
  static const std::vector<std::string> kNone;
  if (definition.type == ValueType::kTable) {
    const TableSource* const table = sources_.FindTable(definition.source);
    return table == nullptr ? kNone : table->options;
  }
  const ValueSource* const value = sources_.FindValue(definition.source);
  return value == nullptr ? kNone : value->options;
}

Outcome Device::CheckOptions(const Config::Key::Key& key, const std::vector<std::string>& known,
                             bool isTable, Format& format) const {
  for (const Config::Key::Pair& option : key.Options()) {
    if (option.name == kMeasured && isTable) {
      if (option.value == "once") continue;
      return Outcome(Sentence::kNoOptionValue).AboutName(option.name);
    }
    if (option.name != "format") {
      if (Names(known, option.name)) continue;
      return Outcome(Sentence::kNoOption).AboutName(option.name);
    }
    if (option.value == "scalar") {
      format = Format::kScalar;
    } else if (option.value == "count" && isTable) {
      format = Format::kCount;
    } else if (option.value == "table") {
      format = Format::kTable;
    } else {
      return Outcome(Sentence::kNoOptionValue).AboutName(option.name);
    }
  }
  return {};
}

Outcome Device::AppendKey(std::string_view text, std::string_view client, const LiveAnswer* answer,
                          Collection& collection, bool& isMissing) {
  const Config::Key::Key key(text);
  if (!key.IsValid()) return Sentence::kMalformedKey;
  const ModelKey* definition = model_.Find(key.Path());
  if (definition == nullptr) return Sentence::kUnknownKey;
  if (!definition->CanBeRead()) return Sentence::kNotReadable;
  if (!definition->IsOpenTo(client)) return Sentence::kNotOpen;
  Format format = Format::kTable;
  Outcome outcome =
      CheckOptions(key, OptionsOf(*definition), definition->type == ValueType::kTable, format);
  if (!outcome.IsSuccess()) return outcome;
  if (!definition->file.empty()) return AppendFile(*definition, key, collection);
  if (!definition->source.empty()) {
    return AppendLive({*definition, {key, client}, answer}, format, collection, isMissing);
  }
  if (!key.Selectors().empty()) return Sentence::kNoTable;
  collection.columns.push_back(
      {definition->IsSetting() ? settings_.Get(definition->name) : definition->defaultValue});
  return {};
}

Outcome Device::Query(const StringTable& keys, std::string_view client, const Answers& answers,
                      std::string& answer, std::vector<unsigned>& missing) {
  missing.clear();
  if (keys.Rows() == 0 || keys.Columns() != 1) return Sentence::kNoKeys;
  if (keys.Rows() > kMaxKeysPerRequest) {
    return {Sentence::kTooManyKeys, {std::to_string(kMaxKeysPerRequest)}};
  }
  Collection collection;
  Outcome outcome = Collect(keys, client, answers, collection, missing);
  if (outcome.IsSuccess() && missing.empty()) {
    answer = collection.Serialize();
  } else {
    for (const auto& [row, given] : answers) unlink(given.file.c_str());
    // The client never learns these paths.
    for (const std::string& file : collection.files) unlink(file.c_str());
  }
  return outcome;
}

Outcome Device::Collect(const StringTable& keys, std::string_view client, const Answers& answers,
                        Collection& collection, std::vector<unsigned>& missing) {
  const auto& columns = collection.columns;
  std::size_t bytes = 0;
  std::size_t rows = 0;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    const std::string_view text = keys.View(i, 0);
    const std::size_t first = columns.size();
    const auto given = answers.find(i);
    bool isMissing = false;
    Outcome outcome = AppendKey(text, client, given == answers.end() ? nullptr : &given->second,
                                collection, isMissing);
    if (!outcome.IsSuccess()) return std::move(outcome).AboutKey(Log::PathOf(text));
    if (isMissing) missing.push_back(i);
    bytes += collection.BytesFrom(first);
    for (std::size_t c = first; c < columns.size(); ++c) rows = std::max(rows, columns[c].size());
    if (bytes > kMaxAnswerBytes || rows * columns.size() * kMinCellBytes > kMaxAnswerBytes) {
      return {Sentence::kAnswerTooLarge, {std::to_string(kMaxAnswerBytes)}};
    }
  }
  return {};
}

// The name under which the answer to a key is known to the further queries of its client; "" when
// each of them asks anew. Its rows are of use as long as the table has the same columns, which
// another provider may offer otherwise.
std::string Device::KnownNameOf(std::string_view text, std::string_view client) const {
  const Config::Key::Key key(text);
  const TableSource* const table = sources_.FindTable(model_.Find(key.Path())->source);
  const bool isOnce =
      std::any_of(key.Options().begin(), key.Options().end(),
                  [](const Config::Key::Pair& option) { return option.name == kMeasured; });
  if (!isOnce || table == nullptr || !table->options.empty()) return "";
  std::string name = key.Path();
  for (const std::string& column : table->columns) name += "," + column;
  return name + " " + std::string(client);
}

void Device::Ask(const StringTable& keys, std::string_view client,
                 const std::vector<unsigned>& missing, Answers& answers, Tables& known,
                 const std::function<void()>& done) const {
  std::map<std::string, std::vector<unsigned>> rows;  // by what is asked for, each once
  for (const unsigned row : missing) {
    const std::string name = KnownNameOf(keys.View(row, 0), client);
    const auto found = known.find(name);
    if (found != known.end()) {
      answers[row] = found->second;
    } else {
      rows[name.empty() ? std::string(keys.View(row, 0)) : name].push_back(row);
    }
  }
  if (rows.empty()) return done();
  const auto open = std::make_shared<std::size_t>(rows.size());
  for (const auto& [asked, places] : rows) {
    const std::string_view key = keys.View(places.front(), 0);
    AskOne(key, client,
           [this, open, name = KnownNameOf(key, client), places = places, &answers, &known,
            done](const LiveAnswer& answer) {
             Keep(name, answer, known);
             for (const unsigned row : places) answers[row] = answer;
             if (--*open == 0) done();
           });
  }
}

// Rows count for as long as a connection keeps them, and so does their name, which a client can
// make as long as a request. A query whose rows find no room asks anew.
void Device::Keep(const std::string& name, const LiveAnswer& answer, Tables& known) const {
  if (name.empty() || !answer.outcome.IsSuccess()) return;
  std::size_t bytes = sizeof(Tables::value_type) + name.size();
  const auto count = [&bytes](const LiveRow& row) {
    bytes += sizeof(LiveRow);
    for (const std::string& cell : row) bytes += sizeof(std::string) + cell.size();
  };
  count(answer.columns);
  for (const LiveRow& row : *answer.rows) count(row);
  if (*keptBytes_ + bytes > kMaxKeptBytes) return;
  *keptBytes_ += bytes;
  const auto drop = [rows = answer.rows, kept = keptBytes_, bytes](auto) { *kept -= bytes; };
  known[name] = {LiveRows(answer.rows.get(), drop), {}, {}, answer.columns};
}

void Device::AskOne(std::string_view text, std::string_view client, AnswerTaker taker) const {
  const Config::Key::Key key(text);
  const std::string& source = model_.Find(key.Path())->source;
  const ValueSource* const value = sources_.FindValue(source);
  const TableSource* const table = sources_.FindTable(source);
  if (value != nullptr && value->ask) {
    value->ask({key, client}, std::move(taker));
  } else if (table != nullptr && table->ask) {
    table->ask({key, client}, std::move(taker));
  } else {
    taker({nullptr, Sentence::kNoDevice});
  }
}
