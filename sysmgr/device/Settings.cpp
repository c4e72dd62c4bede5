// SPDX-License-Identifier: MIT
//
// The model's limits for single values, then its rules, then the disk.
#include "sysmgr/device/Settings.h"

#include <algorithm>

#include "platform/ConfigKey.h"
#include "sysmgr/model/Check.h"

std::string Settings::Check(std::string_view name, std::string_view value,
                            std::string_view client) const {
  const Config::Key::Key key(name);
  if (!key.IsValid()) return "is not the name of a setting";
  const ModelKey* definition = model_.Find(key.Path());
  if (definition == nullptr) return "there is no such setting";
  if (definition->access == Access::kRead) return "can only be read";
  if (key.Path() != name) return "can only be set as a whole";
  if (!definition->IsOpenTo(client)) return "is not open to this client";
  return CheckValue(*definition, value);
}

std::string Settings::CheckTogether(const Storage::Batch& batch) const {
  const auto valueOf = [&](const std::string& key) {
    for (const auto& [name, value] : batch) {
      if (name == key) return value;
    }
    return storage_.Get(key);
  };
  for (const ModelRule& rule : model_.Rules()) {
    const bool concerned = std::any_of(batch.begin(), batch.end(), [&rule](const auto& setting) {
      return rule.Concerns(setting.first);
    });
    if (!concerned) continue;
    std::string problem = CheckRule(rule, valueOf);
    if (!problem.empty()) return problem;
  }
  return "";
}

std::string Settings::Store(const Storage::Batch& batch) {
  std::vector<std::string> changed;
  for (const auto& [name, value] : batch) {
    if (storage_.Get(name) != value) changed.push_back(name);
  }
  std::string problem = CheckTogether(batch);
  if (problem.empty()) problem = storage_.Store(batch);
  if (!problem.empty()) return problem;
  if (!changed.empty()) {
    for (const Observer& observer : observers_) observer(changed);
  }
  return "";
}

const std::string& Settings::GetOwn(const std::string& name) const {
  return storage_.Get(Storage::kOwnPrefix + name);
}

std::string Settings::StoreOwn(const std::string& name, const std::string& value) {
  return storage_.Store({{Storage::kOwnPrefix + name, value}});
}
