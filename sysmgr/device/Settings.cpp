// SPDX-License-Identifier: MIT
//
// Checks the model's limits for single values, then its rules, and then writes to the disk.
#include "sysmgr/device/Settings.h"

#include <algorithm>

#include "platform/ConfigKey.h"
#include "sysmgr/model/Check.h"

namespace {

// No owner's name holds a blank.
std::string OwnPrefix(const std::string& owner) {
  return Storage::kOwnPrefix + owner + " ";
}

}  // namespace

Outcome Settings::Check(std::string_view name, std::string_view value,
                        std::string_view client) const {
  const Config::Key::Key key(name);
  const ModelKey* definition = key.IsValid() ? model_.Find(key.Path()) : nullptr;
  if (definition == nullptr) return Sentence::kNoSetting;
  if (definition->access == Access::kRead) return Sentence::kReadOnly;
  if (key.Path() != name) return Sentence::kNotByName;
  if (!definition->IsOpenTo(client)) return Sentence::kNotOpen;
  return CheckValue(*definition, value);
}

Outcome Settings::CheckTogether(const Storage::Batch& batch) const {
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
    Outcome outcome = CheckRule(rule, valueOf);
    if (!outcome.IsSuccess()) return outcome;
  }
  return {};
}

Outcome Settings::Store(const Storage::Batch& batch) {
  std::vector<std::string> changed;
  for (const auto& [name, value] : batch) {
    if (storage_.Get(name) != value) changed.push_back(name);
  }
  Outcome outcome = CheckTogether(batch);
  if (outcome.IsSuccess()) outcome = storage_.Store(batch);
  if (!outcome.IsSuccess()) return outcome;
  if (!changed.empty()) {
    for (const Observer& observer : observers_) observer(changed);
  }
  return {};
}

const std::string& Settings::GetOwn(const std::string& name) const {
  return storage_.Get(Storage::kOwnPrefix + name);
}

Outcome Settings::StoreOwn(const std::string& name, const std::string& value) {
  return storage_.Store({{Storage::kOwnPrefix + name, value}});
}

std::map<std::string, std::string> Settings::OwnOf(const std::string& owner) const {
  const std::string prefix = OwnPrefix(owner);
  std::map<std::string, std::string> texts;
  for (const auto& [name, value] : storage_.Below(prefix)) {
    if (!value.empty()) texts[name.substr(prefix.size())] = value;
  }
  return texts;
}

Outcome Settings::StoreOwnOf(const std::string& owner, const Storage::Batch& texts) {
  Storage::Batch batch;
  for (const auto& [name, value] : texts) batch.emplace_back(OwnPrefix(owner) + name, value);
  return storage_.Store(batch);
}
