// SPDX-License-Identifier: MIT
//
// The settings of a device, under the rules of its model. The rule to know: all settings are stored
// through this class, so that nothing is stored that a page could not have set.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/Storage.h"
#include "sysmgr/model/Model.h"

class Settings {
 public:
  // Called after a batch has been stored, with the settings whose values have changed, at least
  // one.
  using Observer = std::function<void(const std::vector<std::string>& keys)>;

  // Both must outlive the settings.
  Settings(const Model& model, Storage& storage) : model_(model), storage_(storage) {}

  const Model& Definitions() const { return model_; }

  // The value of a setting of the model, even of a write-only one.
  const std::string& Get(const std::string& key) const { return storage_.Get(key); }

  // Whether the client may set the key and the value keeps its limits. The key is a setting, an
  // action or a parameter.
  Outcome Check(std::string_view name, std::string_view value, std::string_view client) const;

  // Whether the rules hold for the stored values with those of the batch, each of which has passed
  // Check.
  Outcome CheckTogether(const Storage::Batch& batch) const;

  // Stores a batch whose values have passed Check. Stores nothing if they don't fit together or
  // can't be stored.
  Outcome Store(const Storage::Batch& batch);

  // Values that the service stores for itself with the settings, under names of its own; "" for a
  // missing one. No client reaches them, and no list of settings holds them.
  const std::string& GetOwn(const std::string& name) const;
  Outcome StoreOwn(const std::string& name, const std::string& value);

  // Values that the service keeps for a provider, by the provider's name. Storing the empty value
  // removes one.
  std::map<std::string, std::string> OwnOf(const std::string& owner) const;
  Outcome StoreOwnOf(const std::string& owner, const Storage::Batch& texts);

  // Resets every setting to its default and forgets the service's own values; does all of it or
  // nothing. Observers are not called.
  Outcome Reset() { return storage_.Reset(); }

  // How often settings or own values have changed.
  unsigned Changes() const { return storage_.Changes(); }

  void AddObserver(Observer observer) { observers_.push_back(std::move(observer)); }

 private:
  const Model& model_;
  Storage& storage_;
  std::vector<Observer> observers_;
};
