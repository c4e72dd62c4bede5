// SPDX-License-Identifier: MIT
//
// The values of a device that isn't there: texts and tables from a JSON file, and the model's
// defaults for the rest. Answers queries as the system manager does.
//
//   {"System.DeviceName": "Attic",
//    "HomePlug.Stations": [["remote", "00:00:5E:00:53:02"]],
//    ":sys:System.TimeZone": "Enter a time zone."}
//
// A key has a text or, when it is a table, rows in the model's order of columns; cells missing at
// the end of a row are empty. With ":sys:" before it, a key has the sentence with which a setting
// is refused.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "author/model/DeviceModel.h"
#include "platform/ConfigKey.h"
#include "platform/StringTable.h"

class Values {
 public:
  // `path` is "" for the defaults alone. Throws Failure.
  Values(DeviceModel model, const std::string& path);

  // From now on each text of the device has markup at its end that names the key.
  void AddCanaries() { canaries_ = true; }

  // Returns false, with `answer` unspecified, when one of the keys is unknown, malformed or can't
  // be read.
  bool Query(const StringTable& keys, StringTable& answer) const;

  // One column with a row for each key, "" or why it is refused. If none is, a further row may
  // refuse them together.
  StringTable Set(const StringTable& keys) const;

 private:
  using Row = std::vector<std::string>;
  using Columns = std::vector<std::vector<std::string>>;

  bool Append(std::string_view keyText, Columns& columns) const;
  bool AppendTable(const DeviceKey& definition, const Config::Key::Key& key,
                   Columns& columns) const;
  std::string WithCanary(const std::string& value, ValueType type, const std::string& name) const;

  DeviceModel model_;
  std::map<std::string, std::string> texts_;
  std::map<std::string, std::vector<Row>> tables_;
  std::map<std::string, std::string> refusals_;
  std::string refusalOfAll_;  // what is wrong with the values together; "" when nothing is
  bool canaries_ = false;
};
