// SPDX-License-Identifier: MIT
#include "author/trace/Keys.h"

#include <algorithm>

#include "author/trace/Alternatives.h"
#include "platform/ConfigKey.h"

ResultSet ColumnsOf(const DeviceModel& model, const std::string& query) {
  std::string plain = query;
  for (const char mark : {kForeignMark, kPlainMark}) {
    std::replace(plain.begin(), plain.end(), mark, 'x');
  }
  ResultSet result;
  result.known = true;
  for (const std::string_view text : Config::Key::Split(plain)) {
    const Config::Key::Key key(text);
    const DeviceKey* definition = key.IsValid() ? model.Find(key.Path()) : nullptr;
    if (definition == nullptr) {
      result.known = false;
      return result;
    }
    if (definition->type != ValueType::kTable) {
      result.columns.push_back({definition->name, definition->type, ""});
      continue;
    }
    const auto& options = key.Options();
    const auto joins = std::find_if(options.begin(), options.end(), [](const auto& option) {
      return option.name == "format" && option.value != "table";
    });
    if (joins != options.end()) {
      const bool counts = joins->value == "count";
      result.columns.push_back(
          {definition->name, counts ? ValueType::kInteger : ValueType::kText, ""});
      continue;
    }
    for (const DeviceColumn& column : definition->columns) {
      if (!key.Column().empty() && key.Column() != column.name) continue;
      result.columns.push_back({definition->name + "." + column.name, column.type, ""});
    }
  }
  result.known = !result.columns.empty();
  return result;
}
