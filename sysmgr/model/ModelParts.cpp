// SPDX-License-Identifier: MIT
//
// Reads one member after the other. Each type of value has a function that reads its members and
// refuses others.
#include "sysmgr/model/ModelParts.h"

#include <regex.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "base/Utf8.h"
#include "platform/ConfigKey.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/model/Check.h"
#include "sysmgr/model/ModelReader.h"

namespace ModelParts {
namespace {

using nlohmann::json;

template <typename Value>
struct Word {
  std::string_view word;
  Value value;
};

constexpr std::array<Word<ValueType>, 9> kTypes = {{{"text", ValueType::kText},
                                                    {"integer", ValueType::kInteger},
                                                    {"boolean", ValueType::kBoolean},
                                                    {"enumeration", ValueType::kEnumeration},
                                                    {"mac", ValueType::kMac},
                                                    {"ipv4", ValueType::kIpv4},
                                                    {"time-zone", ValueType::kTimeZone},
                                                    {"password", ValueType::kPassword},
                                                    {"table", ValueType::kTable}}};
constexpr std::array<Word<Access>, 6> kAccess = {{{"read", Access::kRead},
                                                  {"read-write", Access::kReadWrite},
                                                  {"write-only", Access::kWriteOnly},
                                                  {"action", Access::kAction},
                                                  {"parameter", Access::kParameter},
                                                  {"ticket", Access::kTicket}}};

// The source that a key of tickets has without naming it, and the longest ticket.
constexpr const char* kTickets = "tickets";
constexpr std::int64_t kMaxTicketCharacters = 100;

template <typename Value, std::size_t size>
Value Choose(const Object& object, const char* member, const std::array<Word<Value>, size>& words) {
  const std::string text = object.Text(member);
  std::string known;
  for (const auto& [word, value] : words) {
    if (word == text) return value;
    known += (known.empty() ? "" : ", ") + std::string(word);
  }
  object.Fail("'" + std::string(member) + "' is '" + text + "'; it must be one of " + known);
}

template <typename Value, std::size_t size>
std::string_view Find(Value value, const std::array<Word<Value>, size>& words) {
  for (const auto& row : words) {
    if (row.value == value) return row.word;
  }
  return "";
}

bool IsKeyName(const std::string& name) {
  const Config::Key::Key key(name);
  return key.IsValid() && key.Path() == name;
}

// Some templates escape these twice, so they may hold nothing that escaping changes.
void CheckShown(const Object& object, const char* member, const std::string& text) {
  if (text.find_first_of("<>&\"'") != std::string::npos) {
    object.Fail("'" + std::string(member) + "' must not hold any of < > & \" '");
  }
  if (!Utf8::IsSafe(text)) {
    object.Fail("'" + std::string(member) + "' must not hold control characters");
  }
  if (text.empty()) object.Fail("'" + std::string(member) + "' is empty");
}

void CheckSentence(const Object& object, const char* member, const std::string& text) {
  CheckShown(object, member, text);
  if (text.back() != '.') object.Fail("'" + std::string(member) + "' must be a whole sentence");
}

// "" for a correct regular expression, else what is wrong with it.
std::string FaultOfPattern(const std::string& pattern) {
  regex_t compiled;
  const int result = regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB);
  if (result == 0) {
    regfree(&compiled);
    return "";
  }
  char reason[128];
  regerror(result, &compiled, reason, sizeof reason);
  return reason;
}

void ReadPattern(const Object& object, ModelKey& key) {
  if (!object.Has("pattern")) {
    if (object.Has("pattern-help")) object.Fail("there is 'pattern-help' but no 'pattern'");
    return;
  }
  key.patternHelp = object.Text("pattern-help");
  CheckSentence(object, "pattern-help", key.patternHelp);
  const std::string pattern = object.Text("pattern");
  // Checks the pattern alone: a)|(b would be correct only inside our own parentheses.
  std::string fault = FaultOfPattern(pattern);
  // Some libraries accept an unmatched ")" as a character; inside our parentheses it would close
  // them.
  if (fault.empty() && FaultOfPattern("(" + pattern).empty()) fault = "Unmatched )";
  const std::string whole = "^(" + pattern + ")$";
  if (fault.empty()) fault = FaultOfPattern(whole);
  if (!fault.empty()) object.Fail("'pattern' is no regular expression: " + fault);
  key.pattern = std::make_shared<RegExp>(whole, RegExp::kExtended);
}

void ReadRange(const Object& object, ModelKey& key) {
  key.minimum = object.Integer("minimum");
  key.maximum = object.Integer("maximum");
  if (key.minimum > key.maximum) object.Fail("'minimum' is above 'maximum'");
}

void ReadColumns(const Object& object, ModelKey& key) {
  for (const json& part : object.Array("columns")) {
    const Object column(part, "a column of key '" + key.name + "'");
    column.AllowOnly({"name", "type", "help"});
    ModelColumn result;
    result.name = column.Text("name");
    if (!IsKeyName(result.name) || result.name.find('.') != std::string::npos) {
      object.Fail("'" + result.name + "' is no name of a column");
    }
    result.type = Choose(column, "type", kTypes);
    if (result.type == ValueType::kTable) object.Fail("a column can't be a table");
    const auto same = [&](const ModelColumn& other) { return other.name == result.name; };
    if (std::any_of(key.columns.begin(), key.columns.end(), same)) {
      object.Fail("column '" + result.name + "' is there twice");
    }
    key.columns.push_back(std::move(result));
  }
  if (key.columns.empty()) object.Fail("'columns' is empty");
}

// The members that a table may have.
const std::initializer_list<std::string_view> kTableMembers = {
    "key", "type", "access", "help", "clients", "source", "columns"};
// The members of every key with a single value.
const std::initializer_list<std::string_view> kScalarMembers = {
    "key",      "type",   "access",   "help",   "clients",  "source", "default",
    "optional", "shared", "confined", "action", "refusals", "trial",  "identity"};

void ReadLimits(const Object& object, ModelKey& key) {
  switch (key.type) {
    case ValueType::kText:
    case ValueType::kPassword:
      object.AllowOnly(kScalarMembers, {"minimum", "maximum", "pattern", "pattern-help", "group"});
      if (object.Has("group")) key.group = object.Integer("group");
      if (object.Has("group") && key.group < 1) object.Fail("'group' is below 1");
      // Values from a source need no limits.
      if (!key.source.empty() && !object.Has("minimum") && !object.Has("maximum")) {
        key.maximum = kMaxTextCharacters;
      } else {
        ReadRange(object, key);
      }
      if (key.minimum < 0) object.Fail("'minimum' is below 0");
      if (key.maximum > kMaxTextCharacters) {
        object.Fail("'maximum' is above " + std::to_string(kMaxTextCharacters));
      }
      ReadPattern(object, key);
      break;
    case ValueType::kInteger:
      object.AllowOnly(kScalarMembers, {"minimum", "maximum"});
      if (key.source.empty() || object.Has("minimum") || object.Has("maximum")) {
        ReadRange(object, key);
      } else {
        key.minimum = std::numeric_limits<std::int64_t>::min();
        key.maximum = std::numeric_limits<std::int64_t>::max();
      }
      break;
    case ValueType::kEnumeration:
      object.AllowOnly(kScalarMembers, {"values"});
      key.values = object.Texts("values");
      for (const std::string& value : key.values) CheckShown(object, "values", value);
      break;
    case ValueType::kIpv4:
      object.AllowOnly(kScalarMembers, {"netmask"});
      key.netmask = object.Flag("netmask");
      break;
    case ValueType::kBoolean:
    case ValueType::kMac:
    case ValueType::kTimeZone:
      object.AllowOnly(kScalarMembers);
      break;
    case ValueType::kTable:
      object.AllowOnly(kTableMembers);
      if (key.source.empty()) object.Fail("a table needs a 'source'");
      ReadColumns(object, key);
      break;
  }
}

// Reads how the key may be used, and who else may use its value.
void ReadUse(const Object& object, ModelKey& key) {
  const bool isRead = key.access == Access::kRead;
  if (!isRead && (key.type == ValueType::kTable || !key.source.empty())) {
    object.Fail("what comes from a source can only be read");
  }
  if (key.type == ValueType::kPassword && key.CanBeRead()) {
    object.Fail("a password can't be read; its access is write-only");
  }
  if (key.access == Access::kAction) key.action = object.Text("action");
  if (key.access != Access::kAction && (object.Has("action") || object.Has("refusals"))) {
    object.Fail("only what has the access action has an 'action' and 'refusals'");
  }
  if (object.Has("refusals")) key.refusals = object.Texts("refusals");
  for (const std::string& refusal : key.refusals) CheckSentence(object, "refusals", refusal);
  const std::size_t dot = key.name.rfind('.');
  if (key.access == Access::kParameter && dot != std::string::npos) {
    key.action = key.name.substr(0, dot);
  }
  key.shared = object.Flag("shared");
  if (key.shared && key.access != Access::kReadWrite) {
    object.Fail("only a setting that can be read is 'shared'");
  }
  key.confined = object.Flag("confined");
  if (key.confined && (key.shared || !key.IsSetting())) {
    object.Fail("only a setting that is not shared is 'confined'");
  }
  key.identity = object.Flag("identity");
  if (key.identity && (key.shared || !key.IsSetting())) {
    object.Fail("only a setting that is not shared is an 'identity'");
  }
  key.trial = object.Flag("trial");
  if (key.trial && key.access != Access::kReadWrite) {
    object.Fail("only a setting that can be read is on 'trial'");
  }
}

void ReadSource(const Object& object, ModelKey& key) {
  if (!object.Has("source")) return;
  if (!object.IsObject("source")) {
    key.source = object.Text("source");
    return;
  }
  const Object source = object.Member("source");
  if (source.Has("history")) {
    source.AllowOnly({"history", "row", "keep", "values"});
    if (key.type != ValueType::kTable) source.Fail("a history is a table");
    ModelHistory history;
    history.of = source.Text("history");
    history.row = source.Text("row");
    if (source.Has("keep")) history.keeps = source.Texts("keep");
    history.values = source.Texts("values");
    key.history = std::make_shared<ModelHistory>(std::move(history));
    key.source = "history " + key.name;  // like no name that a provider can offer
    return;
  }
  source.AllowOnly({"file"});
  key.file = source.Text("file");
  if (key.file.empty() || key.file.front() != '/') source.Fail("'file' must be an absolute path");
  if (key.type == ValueType::kTable) source.Fail("a file is no table");
  key.source = "file " + key.file;  // like no name that a provider can offer
}

}  // namespace

std::string_view WordOf(ValueType type) {
  return Find(type, kTypes);
}

std::string_view WordOf(Access access) {
  return Find(access, kAccess);
}

ModelKey ReadKey(const json& part, const std::string& where, const std::string& file) {
  ModelKey key;
  key.name = Object(part, where).Text("key");
  const Object object(part, file + ", key '" + key.name + "'");
  if (!IsKeyName(key.name)) {
    object.Fail("a key is names of letters, digits, _ and -, with dots between them");
  }
  key.type = Choose(object, "type", kTypes);
  key.access = Choose(object, "access", kAccess);
  key.help = object.Text("help", "");
  ReadSource(object, key);
  if (object.Has("clients")) key.clients = object.Texts("clients");
  ReadUse(object, key);
  if (key.access == Access::kTicket) {
    if (key.type != ValueType::kText) object.Fail("a ticket is a text");
    key.source = kTickets;
  }
  ReadLimits(object, key);
  if (key.access == Access::kTicket) key.maximum = kMaxTicketCharacters;
  if (key.type == ValueType::kTable) return key;

  key.optional = object.Flag("optional");
  if (!key.source.empty() || key.access == Access::kAction || key.access == Access::kParameter) {
    if (object.Has("default")) {
      object.Fail(key.source.empty() ? "what is not stored has no 'default'"
                                     : "a value from a source has no 'default'");
    }
    return key;
  }
  key.defaultValue = object.Text("default");
  const Outcome outcome = CheckValue(key, key.defaultValue);
  if (!outcome.IsSuccess()) object.Fail("'default': " + outcome.Text());
  return key;
}

std::vector<std::string> ReadEvents(const Object& top) {
  if (!top.Has("events")) return {};
  std::vector<std::string> sentences = top.Texts("events");
  for (const std::string& sentence : sentences) {
    CheckShown(top, "events", sentence);
    if (sentence.back() != '.' && sentence.back() != ':') {
      top.Fail("'events' must be whole sentences, or end with a colon before their subject");
    }
  }
  return sentences;
}

ModelRule ReadRule(const json& part, const std::string& where) {
  const Object object(part, where);
  object.AllowOnly({"rule", "when", "keys", "message"});
  constexpr std::array<Word<ModelRule::Kind>, 2> kKinds = {
      {{"required", ModelRule::Kind::kRequired}, {"same-network", ModelRule::Kind::kSameNetwork}}};
  ModelRule rule;
  rule.kind = Choose(object, "rule", kKinds);
  rule.keys = object.Texts("keys");
  if (rule.kind == ModelRule::Kind::kSameNetwork && rule.keys.size() != 3) {
    object.Fail("'keys' must be address, network mask and gateway");
  }
  rule.message = object.Text("message");
  CheckSentence(object, "message", rule.message);
  if (object.Has("when")) {
    const Object when = object.Member("when");
    when.AllowOnly({"key", "is"});
    rule.whenKey = when.Text("key");
    rule.whenValue = when.Text("is");
  }
  return rule;
}

}  // namespace ModelParts
