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
  // Called after a batch has been stored, with the settings whose values have changed, at least
  // one, and the batch's origin. They are on the disk then, and nobody has been told yet.
  using Observer = Storage::Observer;

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
  void Store(Storage::Batch batch, Done done, Storage::Terms terms = {}) {
    storage_.Store(std::move(batch), std::move(done), std::move(terms));
  }

  // Called for each batch that keeps the rules, when it goes to the disk: adds to it what the
  // service keeps for itself along with it.
  using Completer = std::function<void(Storage::Batch& batch, const Storage::Lookup& before)>;
  void CompleteWith(Completer completer) { completer_ = std::move(completer); }

  // One of the service's own values; "" when nothing was stored.
  const std::string& GetOwn(const std::string& name) const { return storage_.Get(name); }

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

  static std::vector<std::string> NamesOf(const Storage::Changes& changes);

 private:
  const ModelRule* FindBroken(const Storage::Batch& batch, const Storage::Lookup& before) const;
  void OnChange(const Storage::Changes& changes, const std::string& origin) const;

  const Model& model_;
  Storage& storage_;
  Completer completer_;
  std::vector<Observer> observers_;
};
