// SPDX-License-Identifier: MIT
#include "author/KeysCommand.h"

#include <cstdio>
#include <string>

#include "author/Options.h"
#include "author/model/DeviceModel.h"

namespace {

const char* NameOf(ValueType type) {
  switch (type) {
    case ValueType::kText:
      return "text";
    case ValueType::kInteger:
      return "integer";
    case ValueType::kBoolean:
      return "boolean";
    case ValueType::kEnumeration:
      return "enumeration";
    case ValueType::kMac:
      return "mac";
    case ValueType::kIpv4:
      return "ipv4";
    case ValueType::kTimeZone:
      return "time zone";
    case ValueType::kPassword:
      return "password";
    case ValueType::kTable:
      return "table";
  }
  return "";
}

const char* NameOf(Access access) {
  switch (access) {
    case Access::kRead:
      return "read";
    case Access::kReadWrite:
      return "read and set";
    case Access::kWriteOnly:
      return "set";
    case Access::kAction:
      return "does something";
    case Access::kParameter:
      return "goes with an action";
    case Access::kTicket:
      return "read; goes with anything";
  }
  return "";
}

// What values a key takes beyond its type.
std::string LimitsOf(const DeviceKey& key) {
  std::string text = NameOf(key.type);
  if (key.type != ValueType::kBoolean) {
    for (const std::string& value : key.values) {
      text += (&value == &key.values.front() ? ": `" : ", `") + value + "`";
    }
  }
  if (key.minimum && key.maximum) {
    text += ", " + std::to_string(*key.minimum) + " to " + std::to_string(*key.maximum);
    if (key.type == ValueType::kText || key.type == ValueType::kPassword) text += " characters";
  }
  return text;
}

// A bar would end the cell.
std::string Cell(const std::string& text) {
  std::string cell;
  for (const char byte : text) cell += byte == '|' ? std::string("\\|") : std::string(1, byte);
  return cell;
}

void PrintRow(const DeviceKey& key) {
  std::printf("| `%s` | %s | %s | %s |\n", key.name.c_str(), NameOf(key.access),
              Cell(LimitsOf(key)).c_str(), Cell(key.help).c_str());
}

void PrintTable(const DeviceKey& key) {
  std::printf("\n### %s\n\n%s\n\n| Column | Placeholder | Values | |\n|---|---|---|---|\n",
              key.name.c_str(), key.help.c_str());
  unsigned number = 0;
  for (const DeviceColumn& column : key.columns) {
    std::printf("| `%s` | `${%02u}` | %s | %s |\n", column.name.c_str(), ++number,
                NameOf(column.type), Cell(column.help).c_str());
  }
}

}  // namespace

int PrintKeys(const Options& options) {
  const DeviceModel model = DeviceModel::Read(options.model);
  std::puts(
      "# Keys\n\nThe keys of the model, for queries and settings of templates "
      "([language.md](language.md)). `vistel keys`\nmakes this page.\n\n"
      "| Key | Access | Values | |\n|---|---|---|---|");
  for (const DeviceKey& key : model.Keys()) {
    if (key.type != ValueType::kTable) PrintRow(key);
  }
  std::puts("\n## Tables");
  for (const DeviceKey& key : model.Keys()) {
    if (key.type == ValueType::kTable) PrintTable(key);
  }
  return 0;
}
