// SPDX-License-Identifier: MIT
//
// The settings of a device by the rules of its model. The rule to know: whoever stores settings
// does it here, so that nothing is stored that a page could not have set.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/Storage.h"
#include "sysmgr/model/Model.h"

class Settings {
 public:
  // Told after a batch has been stored which settings have other values than before, at least one.
  using Observer = std::function<void(const std::vector<std::string>& keys)>;

  // Both must outlive the settings.
  Settings(const Model& model, Storage& storage) : model_(model), storage_(storage) {}

  const Model& Definitions() const { return model_; }

  // The value of a setting of the model, write-only ones included.
  const std::string& Get(const std::string& key) const { return storage_.Get(key); }

  // Whether the client may set the key to this value and the value is fine. The key is a setting,
  // an action or a parameter.
  Outcome Check(std::string_view name, std::string_view value, std::string_view client) const;

  // Whether the rules hold for the batch over the stored values. The values are each fine.
  Outcome CheckTogether(const Storage::Batch& batch) const;

  // Stores all of a batch whose values are each fine, or nothing: they don't fit together or can't
  // be stored.
  Outcome Store(const Storage::Batch& batch);

  // What the service keeps for itself beside the settings, under names of its own; "" where nothing
  // is kept. No client reaches it, and no list of settings has it.
  const std::string& GetOwn(const std::string& name) const;
  Outcome StoreOwn(const std::string& name, const std::string& value);

  // Every setting has its default again, and what the service keeps for itself is forgotten; all of
  // it, or nothing. No observer is told: it is no batch.
  Outcome Reset() { return storage_.Reset(); }

  // How often anything of this has changed.
  unsigned Changes() const { return storage_.Changes(); }

  void AddObserver(Observer observer) { observers_.push_back(std::move(observer)); }

 private:
  const Model& model_;
  Storage& storage_;
  std::vector<Observer> observers_;
};
