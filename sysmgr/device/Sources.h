// SPDX-License-Identifier: MIT
//
// What a device can tell and do, by the names that the model's keys refer to: the place where a
// device maker plugs in the real hardware. Each part of a device offers what it has here, once, at
// the start.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/StringTable.h"
#include "sysmgr/log/Outcome.h"

using LiveRow = std::vector<std::string>;

// Never changed once it is handed out: newer values come in a new one.
using LiveRows = std::shared_ptr<const std::vector<LiveRow>>;

// A query's key, and who asks. Selectors and options are only those that the source takes.
struct Question {
  const Config::Key::Key& key;
  std::string_view client;

  // The value of the first selector of that name, null when there is none.
  const std::string* Selector(std::string_view name) const;
};

// A single value, or why there is none.
struct LiveValue {
  std::string text;
  Outcome outcome = {};
};

struct ValueSource {
  std::function<LiveValue(const Question&)> value = {};
  // The names that its key may be asked with, beyond the option "format".
  std::vector<std::string> selectors = {};
  std::vector<std::string> options = {};
  // Each question makes a file for the one who asks, and its path is the value. One query may ask
  // for few of them; when it fails, they are removed.
  bool makesFile = false;
};

struct TableSource {
  std::vector<std::string> columns;  // in the order of the rows' cells
  std::function<LiveRows(const Question&)> rows;
};

// An action that is to be carried out. Its value and its parameters are fine by the model.
class ActionRequest {
 public:
  ActionRequest(const StringTable& keys, const StringTable& values, std::string_view name,
                std::string_view client)
      : keys_(keys), values_(values), name_(name), client_(client) {}

  std::string_view Client() const { return client_; }
  std::string_view Value() const { return Find(name_); }

  // The parameter "<action>.<name>"; "" when it was not given. Good as long as the request.
  std::string_view Parameter(std::string_view name) const;

 private:
  std::string_view Find(std::string_view key) const;

  const StringTable& keys_;
  const StringTable& values_;
  std::string_view name_;
  std::string_view client_;
};

// Does it, or tells why not.
using Action = std::function<Outcome(const ActionRequest&)>;

class Sources {
 public:
  // Values and tables are asked for in every query and must answer from memory or a local disk;
  // actions hold everybody up while they run: whoever has to wait for hardware does it elsewhere.
  // What is offered must live as long as the sources. A name that is there already is a
  // std::logic_error.
  void OfferValue(const std::string& name, ValueSource source);
  void OfferTable(const std::string& name, TableSource source);
  void OfferAction(const std::string& name, Action action);

  // The commonest value: one that takes nothing and can't fail.
  void OfferText(const std::string& name, std::function<std::string()> text);

  // Null when there is none of that name. Good for the object's life.
  const ValueSource* FindValue(const std::string& name) const;
  const TableSource* FindTable(const std::string& name) const;
  const Action* FindAction(const std::string& name) const;

 private:
  std::map<std::string, ValueSource> values_;
  std::map<std::string, TableSource> tables_;
  std::map<std::string, Action> actions_;
};
