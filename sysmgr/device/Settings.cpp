// SPDX-License-Identifier: MIT
//
// Checks the model's limits for single values when they come, and its rules when they go to the
// disk: other values may have been stored in between.
#include "sysmgr/device/Settings.h"

#include <algorithm>
#include <utility>

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

Settings::Settings(const Model& model, Storage& storage) : model_(model), storage_(storage) {
  storage_.CheckWith([this](Storage::Batch& batch, const Storage::Lookup& before) {
    const ModelRule* const broken = FindBroken(batch, before);
    if (broken != nullptr) return Outcome::InWordsOfTheModel(broken->message);
    if (completer_) completer_(batch, before);
    return Outcome();
  });
  storage_.Observe([this](const Storage::Changes& changes, const std::string& origin) {
    OnChange(changes, origin);
  });
}

const ModelRule* Settings::FindBroken(const Storage::Batch& batch) const {
  return FindBroken(
      batch, [this](const std::string& key) -> const std::string& { return storage_.Get(key); });
}

const ModelRule* Settings::FindBroken(const Storage::Batch& batch,
                                      const Storage::Lookup& before) const {
  const auto valueOf = [&](const std::string& key) -> const std::string& {
    for (const auto& [name, value] : batch) {
      if (name == key) return value;
    }
    return before(key);
  };
  for (const ModelRule& rule : model_.Rules()) {
    const bool concerned = std::any_of(batch.begin(), batch.end(), [&rule](const auto& setting) {
      return rule.Concerns(setting.first);
    });
    if (concerned && !CheckRule(rule, valueOf).IsSuccess()) return &rule;
  }
  return nullptr;
}

void Settings::OnChange(const Storage::Changes& changes, const std::string& origin) const {
  Storage::Changes settings;
  for (const Storage::Change& change : changes) {
    if (change.key.front() != Storage::kOwnPrefix) settings.push_back(change);
  }
  if (settings.empty()) return;
  for (const Observer& observer : observers_) observer(settings, origin);
}

std::vector<std::string> Settings::NamesOf(const Storage::Changes& changes) {
  std::vector<std::string> names;
  names.reserve(changes.size());
  for (const Storage::Change& change : changes) names.push_back(change.key);
  return names;
}

void Settings::TakeNote(Storage::Batch& batch) const {
  if (!Lost().empty()) batch.emplace_back(Storage::kLost, "");
}

std::map<std::string, std::string> Settings::OwnOf(const std::string& owner) const {
  const std::string prefix = OwnPrefix(owner);
  std::map<std::string, std::string> texts;
  for (const auto& [name, value] : storage_.Below(prefix)) {
    if (!value.empty()) texts[name.substr(prefix.size())] = value;
  }
  return texts;
}

void Settings::StoreOwnOf(const std::string& owner, const Storage::Batch& texts, Done done) {
  Storage::Batch batch;
  for (const auto& [name, value] : texts) batch.emplace_back(OwnPrefix(owner) + name, value);
  storage_.Store(std::move(batch), std::move(done));
}
