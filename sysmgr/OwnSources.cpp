// SPDX-License-Identifier: MIT
#include "sysmgr/OwnSources.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sysmgr/log/Failure.h"

namespace {

enum class Kind { kValue, kTable, kAction };

constexpr std::size_t kMaxColumns = 11;

struct OwnSource {
  std::string_view name;
  Kind kind;
  std::array<std::string_view, kMaxColumns> columns = {};
};

constexpr OwnSource kOwn[] = {
    {"actions", Kind::kTable, {"Key", "Value", "Seconds", "Form"}},
    {"auto-config-show", Kind::kValue},
    {"change-password", Kind::kAction},
    {"changes",
     Kind::kTable,
     {"Number", "Seconds", "Form", "Key", "Before", "After", "Secret", "Undo"}},
    {"clock", Kind::kTable, {"Zone", "Date", "Time", "Offset"}},
    {"config-changes", Kind::kTable, {"Key", "Current", "New", "Secret"}},
    {"config-mistakes", Kind::kTable, {"Number", "Line", "Key", "Text"}},
    {"config-password", Kind::kAction},
    {"config-password-set", Kind::kValue},
    {"config-pending", Kind::kValue},
    {"config-restore", Kind::kAction},
    {"config-show", Kind::kValue},
    {"config-show-crypt", Kind::kValue},
    {"factory-reset", Kind::kAction},
    {"factory-secrets", Kind::kValue},
    {"firmware", Kind::kValue},
    {"firmware-fault", Kind::kValue},
    {"firmware-image", Kind::kTable, {"Model", "Version", "Bytes", "Sha256"}},
    {"firmware-older", Kind::kValue},
    {"firmware-progress", Kind::kValue},
    {"firmware-state", Kind::kValue},
    {"firmware-update", Kind::kAction},
    {"log",
     Kind::kTable,
     {"Time", "Text", "Number", "Local", "Offset", "Sentence", "Subject", "Year", "Month", "Day",
      "Clock"}},
    {"model-keys", Kind::kTable, {"Key", "Type", "Access", "Limits", "Help"}},
    {"password-set", Kind::kValue},
    {"restart", Kind::kAction},
    {"service-version", Kind::kValue},
    {"setting-check", Kind::kValue},
    {"setting-form", Kind::kValue},
    {"settings-lost", Kind::kValue},
    {"settings-lost-noted", Kind::kAction},
    {"time-zones", Kind::kTable, {"Name", "Area", "Place", "Time"}},
    {"tickets", Kind::kValue},
    {"trial", Kind::kAction},
    {"trial-seconds", Kind::kValue},
    {"trial-settings", Kind::kTable, {"Key", "Former", "Present"}},
    {"undo", Kind::kAction},
};

const OwnSource* Find(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kOwn), std::end(kOwn),
                                         [name](const OwnSource& own) { return own.name == name; });
  return found == std::end(kOwn) ? nullptr : found;
}

std::string FaultOf(const ModelKey& key) {
  const bool isAction = key.access == Access::kAction;
  const OwnSource* const own = Find(isAction ? key.action : key.source);
  if (own == nullptr) return "";
  const std::string name = "'" + std::string(own->name) + "'";
  if (isAction) return own->kind == Kind::kAction ? "" : name + " is no action";
  if (own->kind == Kind::kAction) return name + " is an action";
  if ((key.type == ValueType::kTable) != (own->kind == Kind::kTable)) {
    return "source " + name + (own->kind == Kind::kTable ? " is a table" : " is no table");
  }
  for (const ModelColumn& column : key.columns) {
    if (std::find(own->columns.begin(), own->columns.end(), column.name) == own->columns.end()) {
      return "source " + name + " has no column '" + column.name + "'";
    }
  }
  return "";
}

bool IsOffered(const Sources& sources, const OwnSource& own) {
  const std::string name(own.name);
  switch (own.kind) {
    case Kind::kValue:
      return sources.FindValue(name) != nullptr;
    case Kind::kAction:
      return sources.FindAction(name) != nullptr;
    case Kind::kTable:
      break;
  }
  const TableSource* const table = sources.FindTable(name);
  return table != nullptr &&
         std::equal(table->columns.begin(), table->columns.end(), own.columns.begin(),
                    own.columns.begin() + table->columns.size());
}

}  // namespace

void CheckOwnSources(const Model& model) {
  for (const ModelKey& key : model.Keys()) {
    const std::string fault = FaultOf(key);
    if (!fault.empty()) throw StartFailure("model, key '" + key.name + "': " + fault);
  }
}

void CheckOffers(const Sources& sources) {
  for (const OwnSource& own : kOwn) {
    if (!IsOffered(sources, own)) {
      throw std::logic_error("'" + std::string(own.name) + "' is not offered as such");
    }
  }
  if (sources.Count() != std::size(kOwn)) throw std::logic_error("a source is not listed");
}
