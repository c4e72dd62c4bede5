// SPDX-License-Identifier: MIT
//
// The model: the keys of a device, the values that they take and the clients that may use them. It
// is data from a file that device makers edit (docs/model.md); the code knows no particular device.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/RegExp.h"

enum class ValueType {
  kText,
  kInteger,
  kBoolean,
  kEnumeration,
  kMac,
  kIpv4,
  kTimeZone,
  kPassword,
  kTable,
};

enum class Access {
  kRead,       // from a source of live values, or a constant
  kReadWrite,  // a setting
  kWriteOnly,  // a secret setting: it can be set, never read
  kAction,     // setting it does something; nothing is stored
  kParameter,  // a further value of an action, with whose name its own begins
  kTicket,     // reading it gives a new ticket for a form; a batch with that is carried out once
};

struct ModelColumn {
  std::string name;
  ValueType type = ValueType::kText;
};

// What a table tells about another one: how its rows have been for a day.
struct ModelHistory {
  std::string of;                   // the key of the other table, as in a query
  std::string row;                  // the column that tells its rows apart
  std::vector<std::string> keeps;   // columns of which the last text is kept
  std::vector<std::string> values;  // columns whose numbers are kept
  // Of the other table: where its rows come from, and all its columns, in their order.
  std::string source;
  std::vector<std::string> columnsOf;

  // The columns that the history itself can have, in the order of Recording::Rows.
  std::vector<std::string> Columns() const;
};

struct ModelKey {
  std::string name;
  ValueType type = ValueType::kText;
  Access access = Access::kRead;
  std::string help;
  std::string file;                   // its first line is the live value; "" for none
  std::string source;                 // where live values come from; "" for settings and constants
  std::vector<std::string> refusals;  // sentences with which a device can refuse an action
  std::string action;                 // what an action does; the key of a parameter's action
  std::string defaultValue;           // of a setting; the value of a constant
  std::int64_t minimum = 0;           // of an integer; characters of a text or password
  std::int64_t maximum = 0;
  std::shared_ptr<const RegExp> pattern;  // the whole value must match it; null for any value
  std::string patternHelp;                // the sentence when it doesn't
  std::vector<std::string> values;        // of an enumeration
  bool optional = false;                  // the empty text is a value too
  bool netmask = false;                   // an IPv4 address that is a network mask
  std::vector<ModelColumn> columns;       // of a table
  std::shared_ptr<ModelHistory> history;  // of a table that tells how another one has been
  std::vector<std::string> clients;       // the clients that may use the key; empty for all
  bool shared = false;                    // other devices of the household may take it over
  bool confined = false;                  // never part of an exported configuration
  bool identity = false;                  // never taken over from another kind of device
  bool trial = false;                     // a change of it lasts only if it is confirmed
  std::int64_t group = 0;                 // letters between two dashes of a text; 0: has none

  bool IsSetting() const { return access == Access::kReadWrite || access == Access::kWriteOnly; }
  bool CanBeRead() const {
    return access == Access::kRead || access == Access::kReadWrite || access == Access::kTicket;
  }
  bool IsOpenTo(std::string_view client) const;
};

// A condition on several settings together. It is checked when a batch sets one of them.
struct ModelRule {
  enum class Kind {
    kRequired,     // none of `keys` may be empty
    kSameNetwork,  // keys[0] and keys[2] are different addresses in one network of mask keys[1]
  };

  Kind kind = Kind::kRequired;
  std::string whenKey;  // only while this setting has the value whenValue; "" for always
  std::string whenValue;
  std::vector<std::string> keys;
  std::string message;  // the sentence for a broken rule

  bool Concerns(std::string_view key) const;
};

class Model {
 public:
  // The kind of device, and the version of its model: a newer model has a larger version.
  const std::string& DeviceName() const { return deviceName_; }
  std::int64_t Version() const { return version_; }
  void SetIdentity(std::string deviceName, std::int64_t version);

  const std::vector<ModelKey>& Keys() const { return keys_; }
  const std::vector<ModelRule>& Rules() const { return rules_; }

  // The key of the tickets, null when there is none.
  const ModelKey* Ticket() const;

  // Null when there is no such key. Valid as long as the model.
  const ModelKey* Find(std::string_view name) const;

  // Returns false and leaves the model unchanged when it has a key of that name.
  bool Add(ModelKey key);
  void Add(ModelRule rule) { rules_.push_back(std::move(rule)); }

  // The sentences of the events that providers tell, for catalogues.
  const std::vector<std::string>& Events() const { return events_; }
  void SetEvents(std::vector<std::string> sentences) { events_ = std::move(sentences); }

 private:
  std::vector<ModelKey> keys_;
  std::unordered_map<std::string, std::size_t> index_;
  std::vector<ModelRule> rules_;
  std::vector<std::string> events_;
  std::string deviceName_;
  std::int64_t version_ = 0;
};
