// SPDX-License-Identifier: MIT
//
// The settings of a device, under the rules of its model. The rule to know: all settings are stored
// through this class, so that nothing is stored that a page could not have set.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sysmgr/device/Storage.h"
#include "sysmgr/model/Model.h"

class Settings {
 public:
  // Called after batches have been stored, with the settings whose values have changed, at least
  // one. They are on the disk then, and nobody has been told yet.
  using Observer = std::function<void(const std::vector<std::string>& keys)>;

  using Done = Storage::Done;

  // Both must outlive the settings, which check every batch of the storage.
  Settings(const Model& model, Storage& storage);
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  const Model& Definitions() const { return model_; }

  // The value of a setting of the model, even of a write-only one.
  const std::string& Get(const std::string& key) const { return storage_.Get(key); }

  // Whether the client may set the key and the value keeps its limits. The key is a setting, an
  // action or a parameter.
  Outcome Check(std::string_view name, std::string_view value, std::string_view client) const;

  // The first rule that the stored values break with those of the batch, each of which has passed
  // Check; null when all hold.
  const ModelRule* FindBroken(const Storage::Batch& batch) const;

  // Stores a batch whose values have passed Check. Stores nothing if they don't fit together, with
  // each other or with what was stored meanwhile, or can't be stored.
  void Store(Storage::Batch batch, Done done) { storage_.Store(std::move(batch), std::move(done)); }

  // How settings were lost that had been stored: "damaged", "newer", or "" when none were or
  // somebody has taken note of it. A batch with TakeNote is that note.
  const std::string& Lost() const { return storage_.Get(Storage::kLost); }
  void TakeNote(Storage::Batch& batch) const;

  // Values that the service keeps for a provider, by the provider's name. Storing the empty value
  // removes one.
  std::map<std::string, std::string> OwnOf(const std::string& owner) const;
  void StoreOwnOf(const std::string& owner, const Storage::Batch& texts, Done done);

  // Resets every setting to its default and forgets the service's own values; does all of it or
  // nothing. Observers are not called.
  void Reset(Done done) { storage_.Reset(std::move(done)); }

  void AddObserver(Observer observer) { observers_.push_back(std::move(observer)); }

 private:
  const ModelRule* FindBroken(const Storage::Batch& batch, const Storage::Lookup& valueOf) const;
  void OnChange(const std::vector<std::string>& keys) const;

  const Model& model_;
  Storage& storage_;
  std::vector<Observer> observers_;
};
