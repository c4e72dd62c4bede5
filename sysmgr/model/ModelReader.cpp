// SPDX-License-Identifier: MIT
//
// Reads first the JSON, with line numbers, then the file as a whole. ModelParts.cpp reads each key
// and rule.
#include "sysmgr/model/ModelReader.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "base/Utf8.h"
#include "platform/ConfigKey.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/model/Check.h"
#include "sysmgr/model/KeyList.h"
#include "sysmgr/model/ModelParts.h"

namespace {

using nlohmann::json;

[[noreturn]] void FailAtByte(const std::string& path, const std::string& text, std::size_t byte,
                             const std::string& what) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte, text.size()));
  const auto line = std::count(text.begin(), end, '\n') + 1;
  throw StartFailure("model '" + path + "', line " + std::to_string(line) + ": " + what);
}

// The library's message without the library's name and the position at its start.
std::string Reason(const std::string& message) {
  const std::size_t colon = message.find(": ");
  return colon == std::string::npos ? message : message.substr(colon + 2);
}

// Finds members that appear twice. JSON allows that and the library keeps one of them, but in a
// model it is a mistake.
class DuplicateFinder {
 public:
  bool operator()(int, json::parse_event_t event, json& parsed) {
    if (event == json::parse_event_t::object_start) open_.emplace_back();
    if (event == json::parse_event_t::object_end) open_.pop_back();
    if (event == json::parse_event_t::key) {
      const auto name = parsed.get<std::string>();
      if (!open_.back().insert(name).second && duplicate_.empty()) duplicate_ = name;
    }
    return true;
  }
  const std::string& Duplicate() const { return duplicate_; }

 private:
  std::vector<std::set<std::string>> open_;
  std::string duplicate_;
};

json Parse(const std::string& path, const std::string& text) {
  DuplicateFinder finder;
  json document;
  try {
    // Passed by reference, because the library copies its callback.
    document = json::parse(text, std::ref(finder));
  } catch (const json::parse_error& error) {
    FailAtByte(path, text, error.byte == 0 ? 0 : error.byte - 1, Reason(error.what()));
  }
  if (!finder.Duplicate().empty()) {
    throw StartFailure("model '" + path + "': an object has two members '" + finder.Duplicate() +
                       "'");
  }
  return document;
}

[[noreturn]] void FailAtKey(const std::string& where, const std::string& name, const char* what) {
  throw StartFailure(where + ": key '" + name + "' " + what);
}

std::string Numbered(std::string where, const char* what, std::size_t number) {
  return where.append(what).append(std::to_string(number));
}

void CheckRuleKeys(const Model& model, const ModelRule& rule, const std::string& where) {
  const auto settingOf = [&](const std::string& name) -> const ModelKey& {
    const ModelKey* key = model.Find(name);
    if (key == nullptr) throw StartFailure(where + ": there is no key '" + name + "'");
    if (!key->IsSetting()) throw StartFailure(where + ": key '" + name + "' is no setting");
    return *key;
  };
  if (!rule.whenKey.empty()) {
    const ModelKey& key = settingOf(rule.whenKey);
    const Outcome outcome = CheckValue(key, rule.whenValue);
    if (!outcome.IsSuccess()) {
      throw StartFailure(where + ": 'is' can never be true: " + key.name + ": " + outcome.Text());
    }
  }
  for (const std::string& name : rule.keys) {
    const ModelKey& key = settingOf(name);
    if (rule.kind == ModelRule::Kind::kSameNetwork && key.type != ValueType::kIpv4) {
      FailAtKey(where, name, "is not of type ipv4");
    }
  }
}

void CheckParameter(const Model& model, const ModelKey& key, const std::string& where) {
  if (key.access != Access::kParameter) return;
  const ModelKey* action = model.Find(key.action);
  if (action == nullptr || action->access != Access::kAction) {
    FailAtKey(where, key.name, "is a parameter, but what is before its last dot is no action");
  }
}

// Finds the table that a history is of, and completes the history with what that is like.
void CompleteHistory(const Model& model, const ModelKey& key, const std::string& where) {
  if (key.history == nullptr) return;
  ModelHistory& history = *key.history;
  const Config::Key::Key question(history.of);
  const ModelKey* const table = question.IsValid() ? model.Find(question.Path()) : nullptr;
  if (table == nullptr || table->type != ValueType::kTable || !question.Column().empty() ||
      !question.Options().empty()) {
    FailAtKey(where, key.name, "is the history of what is no table");
  }
  if (table->history != nullptr || !table->clients.empty()) {
    FailAtKey(where, key.name, "is the history of a history, or of a table not open to everybody");
  }
  history.source = table->source;
  for (const ModelColumn& column : table->columns) history.columnsOf.push_back(column.name);
  const auto require = [&](const std::vector<std::string>& known, const std::string& name) {
    if (std::find(known.begin(), known.end(), name) != known.end()) return;
    throw StartFailure(where + ": key '" + key.name + "': there is no column '" + name + "'");
  };
  require(history.columnsOf, history.row);
  for (const std::string& name : history.keeps) require(history.columnsOf, name);
  for (const std::string& name : history.values) require(history.columnsOf, name);
  for (const auto& selector : question.Selectors()) require(history.columnsOf, selector.name);
  for (const ModelColumn& column : key.columns) require(history.Columns(), column.name);
}

void CheckDefaults(const Model& model, const ModelRule& rule, const std::string& where) {
  const Outcome outcome =
      CheckRule(rule, [&model](const std::string& key) { return model.Find(key)->defaultValue; });
  if (!outcome.IsSuccess()) {
    throw StartFailure(where + ": the default values break it: " + outcome.Text());
  }
}

}  // namespace

Model ReadModel(const std::string& path, const std::string& text) {
  const std::string where = "model '" + path + "'";
  const json document = Parse(path, text);
  const ModelParts::Object top(document, where);
  top.AllowOnly({"device", "version", "keys", "rules", "events"});

  Model model;
  model.SetIdentity(top.Text("device"), top.Integer("version"));
  // Exported configurations hold the device's name.
  if (model.DeviceName().empty() || !Utf8::IsSafe(model.DeviceName())) {
    top.Fail("'device' must be a text without control characters");
  }
  std::size_t number = 0;
  for (const json& part : top.Array("keys")) {
    ModelKey key = ModelParts::ReadKey(part, Numbered(where, ", key number ", ++number), where);
    const std::string name = key.name;
    if (!model.Add(std::move(key))) FailAtKey(where, name, "is there twice");
  }
  if (model.Keys().empty()) throw StartFailure(where + ": there are no keys");
  for (const ModelKey& key : model.Keys()) {
    CheckParameter(model, key, where);
    CompleteHistory(model, key, where);
    if (key.access == Access::kTicket && &key != model.Ticket()) {
      FailAtKey(where, key.name, "is a second ticket");
    }
  }
  if (!model.Add(KeyList::Definition())) FailAtKey(where, KeyList::kKey, "is the service's own");

  model.SetEvents(ModelParts::ReadEvents(top));

  number = 0;
  if (!top.Has("rules")) return model;
  for (const json& part : top.Array("rules")) {
    const std::string whereRule = Numbered(where, ", rule number ", ++number);
    ModelRule rule = ModelParts::ReadRule(part, whereRule);
    CheckRuleKeys(model, rule, whereRule);
    CheckDefaults(model, rule, whereRule);
    model.Add(std::move(rule));
  }
  return model;
}

Model ReadModelFile(const std::string& path) {
  const std::string where = "model '" + path + "'";
  const OpenedFile file = OpenRegularFile(path);
  if (file.error != 0) throw StartFailure(where + " can't be opened: " + std::strerror(file.error));
  std::string text(kMaxModelBytes + 1, '\0');
  const ssize_t count = ReadUpTo(file.descriptor.Number(), text.data(), text.size());
  if (count <= 0) throw StartFailure(where + " can't be read or is empty");
  text.resize(static_cast<std::size_t>(count));
  if (text.size() > kMaxModelBytes) {
    throw StartFailure(where + " is larger than " + std::to_string(kMaxModelBytes) + " bytes");
  }
  return ReadModel(path, text);
}
