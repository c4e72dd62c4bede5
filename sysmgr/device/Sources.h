// SPDX-License-Identifier: MIT
//
// The values and actions of a device, under the names that the model's keys refer to. Parts of the
// service offer theirs once, at the start. Providers, which are programs of their own, offer theirs
// when they connect and lose them when they disconnect.
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

// Never changed after it is handed out: newer values come in a new object.
using LiveRows = std::shared_ptr<const std::vector<LiveRow>>;

// A query's key and the client. It holds only selectors and options that the source takes.
struct Question {
  const Config::Key::Key& key;
  std::string_view client;

  // The value of the last selector of that name, null when there is none.
  const std::string* Selector(std::string_view name) const;
};

// A single value, or why there is none.
struct LiveValue {
  std::string text;
  Outcome outcome = {};
};

// What a provider has answered: the rows of a table, the one cell of a value, or why there is none.
struct LiveAnswer {
  LiveRows rows;  // null when there is none
  Outcome outcome = {};
  std::string file = {};  // the path of the file that was made for it, which is the one cell then
  std::vector<std::string> columns = {};  // of a table, as they were when it was asked
};

// Called once: from the event loop, or from within the call that it was passed to.
using AnswerTaker = std::function<void(LiveAnswer)>;
using OutcomeTaker = std::function<void(Outcome)>;

// How a source is asked whose answer comes later.
using AskLater = std::function<void(const Question&, AnswerTaker)>;

// Exactly one of `value` and `ask` is there.
struct ValueSource {
  std::function<LiveValue(const Question&)> value = {};
  // The selectors and options that a query may use, beside the option "format".
  std::vector<std::string> selectors = {};
  std::vector<std::string> options = {};
  // Each query makes a file for the client, whose path is the value. A query may ask for few such
  // files; when it fails, they are removed.
  bool makesFile = false;
  AskLater ask = {};
};

// Exactly one of `rows` and `ask` is there.
struct TableSource {
  std::vector<std::string> columns;                    // in the order of the rows' cells
  std::function<LiveRows(const Question&)> rows = {};  // null: there are none yet
  std::vector<std::string> options = {};
  AskLater ask = {};
};

// An action to be carried out. Its value and its parameters keep the model's limits.
class ActionRequest {
 public:
  ActionRequest(const StringTable& keys, const StringTable& values, std::string_view name,
                std::string_view client, std::string_view ticket = "")
      : keys_(keys), values_(values), name_(name), client_(client), ticket_(ticket) {}

  std::string_view Client() const { return client_; }
  std::string_view Value() const { return Find(name_); }

  // The ticket of the form that the request came from; "" when it came without one.
  std::string_view Ticket() const { return ticket_; }

  // The parameter "<action>.<name>"; "" when it is missing. Valid as long as the request.
  std::string_view Parameter(std::string_view name) const;

  // All parameters that were given: name and value.
  StringTable Parameters() const;

 private:
  friend class KeptRequest;

  std::string_view Find(std::string_view key) const;

  const StringTable& keys_;
  const StringTable& values_;
  std::string_view name_;
  std::string_view client_;
  std::string_view ticket_;
};

// A request that outlasts the call with which it came.
class KeptRequest {
 public:
  explicit KeptRequest(const ActionRequest& request);

  // Valid as long as the object.
  ActionRequest Request() const { return {keys_, values_, name_, client_, ticket_}; }

 private:
  StringTable keys_;
  StringTable values_;
  std::string name_;
  std::string client_;
  std::string ticket_;
};

// Carries out the action, then calls the taker once, perhaps later, with the outcome. The request
// is valid only during the call.
using Action = std::function<void(const ActionRequest&, OutcomeTaker)>;

class Sources {
 public:
  // All clients wait during these calls, so values and tables must come from memory or a local
  // disk. The functions must be callable until they are withdrawn or the sources go. Throws
  // std::logic_error for a name that is offered already.
  void OfferValue(const std::string& name, ValueSource source);
  void OfferTable(const std::string& name, TableSource source);
  void OfferAction(const std::string& name, Action action);

  // Removes the offer with that name.
  void Withdraw(const std::string& name);

  // How many names are offered.
  std::size_t Count() const { return values_.size() + tables_.size() + actions_.size(); }

  // Whether anything is offered under that name.
  bool Has(const std::string& name) const;

  // The most common value: without selectors and options, and without failures.
  void OfferText(const std::string& name, std::function<std::string()> text);

  // Null when there is none with that name. Valid until it is withdrawn.
  const ValueSource* FindValue(const std::string& name) const;
  const TableSource* FindTable(const std::string& name) const;
  const Action* FindAction(const std::string& name) const;

 private:
  std::map<std::string, ValueSource> values_;
  std::map<std::string, TableSource> tables_;
  std::map<std::string, Action> actions_;
};
