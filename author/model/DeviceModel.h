// SPDX-License-Identifier: MIT
//
// What templates have to know of a device's model: its keys, their types and limits. The file is
// the one of the system manager (docs/model.md), whose own check finds mistakes in it; this reader
// takes what it needs and ignores the rest.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class ValueType {
  kText,
  kInteger,
  kBoolean,
  kEnumeration,
  kMac,
  kIpv4,
  kTimeZone,
  kPassword,
  kTable
};
enum class Access { kRead, kReadWrite, kWriteOnly, kAction, kParameter, kTicket };

struct DeviceColumn {
  std::string name;
  ValueType type = ValueType::kText;
  std::string help;
};

struct DeviceKey {
  std::string name;
  ValueType type = ValueType::kText;
  Access access = Access::kRead;
  std::string help;
  std::string source;                   // "" for settings and constants
  std::string defaultValue;             // "" when there is none
  std::optional<std::int64_t> minimum;  // of an integer; characters of a text
  std::optional<std::int64_t> maximum;
  std::vector<std::string> values;  // of an enumeration
  std::vector<DeviceColumn> columns;

  bool CanBeRead() const {
    return access == Access::kRead || access == Access::kReadWrite || access == Access::kTicket;
  }
  bool CanBeSet() const { return access != Access::kRead; }

  // Null when there is no such column.
  const DeviceColumn* Column(std::string_view columnName) const;
};

// Whether no value of that type can hold a character that means something in a page.
bool IsHarmless(ValueType type);

class DeviceModel {
 public:
  // Throws Failure when the file can't be read or is no model.
  static DeviceModel Read(const std::string& path);

  const std::vector<DeviceKey>& Keys() const { return keys_; }

  // Null when there is no such key.
  const DeviceKey* Find(std::string_view name) const;

  // The key whose name is most like `name`: first of those before the same dot, then the one with
  // the same word after the dot; "" when none is at all.
  std::string Nearest(std::string_view name) const;

 private:
  std::vector<DeviceKey> keys_;
};

// The candidate that takes the fewest changes of letters to become `name`; "" when each takes more
// than a third of its letters.
std::string NearestName(std::string_view name, const std::vector<std::string>& candidates);
