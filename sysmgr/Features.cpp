// SPDX-License-Identifier: MIT
//
// Creates the service's own parts, first those that others need.
#include "sysmgr/Features.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "sysmgr/OwnSources.h"
#include "sysmgr/device/LostSettings.h"
#include "sysmgr/model/KeyList.h"

namespace {

// Set by the build.
constexpr bool kTakesUnsigned = VISTEL_UNSIGNED_FIRMWARE != 0;

// Lets a page check a value while the user is still typing.
void OfferCheck(Sources& sources, const Settings& settings) {
  ValueSource check;
  check.selectors = {"Key", "Value"};
  check.value = [&settings](const Question& question) -> LiveValue {
    const std::string* key = question.Selector("Key");
    const std::string* value = question.Selector("Value");
    if (key == nullptr) return {"", Outcome(Sentence::kSelectorMissing).AboutName("Key")};
    return {settings.Check(*key, value == nullptr ? "" : *value, question.client).Text()};
  };
  sources.OfferValue("setting-check", std::move(check));
}

void OfferKeys(Sources& sources, const Model& model) {
  const auto rows = [&model](const Question& question) {
    return std::make_shared<std::vector<LiveRow>>(KeyList::Rows(model, question.client));
  };
  sources.OfferTable(KeyList::kSource, {KeyList::Columns(), rows});
}

// Tells whether a secret is still the one that every such device left the factory with.
void OfferFactorySecrets(Sources& sources, const Settings& settings) {
  sources.OfferText("factory-secrets", [&settings] {
    const auto& keys = settings.Definitions().Keys();
    return std::any_of(keys.begin(), keys.end(),
                       [&settings](const ModelKey& key) {
                         return key.IsSetting() && !key.CanBeRead() && !key.defaultValue.empty() &&
                                settings.Get(key.name) == key.defaultValue;
                       })
               ? "1"
               : "0";
  });
}

}  // namespace

Features::Features(Settings& settings, const FeatureSetup& setup)
    : settings_(settings),
      steady_(setup.steady),
      files_(setup.filesFolder, setup.steady),
      upload_(setup.uploadFile),
      log_(setup.timeOfDay),
      firmware_(setup.stateFolder, upload_,
                {settings.Definitions().DeviceName(), setup.firmwareKeys, kTakesUnsigned}, log_),
      password_(setup.passwordFile, setup.commonPasswords, setup.steady, log_),
      configuration_(settings, files_, upload_, password_, setup.steady),
      restarts_(settings, firmware_, sources_, log_) {
  log_.OfferTo(sources_);
  firmware_.OfferTo(sources_);
  password_.OfferTo(sources_);
  configuration_.OfferTo(sources_);
  OfferCheck(sources_, settings);
  OfferKeys(sources_, settings.Definitions());
  sources_.OfferText("service-version", [] { return std::string(VISTEL_VERSION); });
  restarts_.AddListener([this] {
    configuration_.Restart();
    files_.RemoveAll();
    upload_.DeleteOurs();
  });
  AddEvents(settings);
  LostSettings::OfferTo(sources_, settings, log_);
  OfferFactorySecrets(sources_, settings);
  CheckOffers(sources_);
}

// Adds the events of the device's log that the parts don't add themselves.
void Features::AddEvents(Settings& settings) {
  settings.AddObserver(
      [this](const std::vector<std::string>& keys) { log_.AddNames("Settings changed", keys); });
  configuration_.OnRestored([this] { log_.Add("A configuration was restored."); });
  configuration_.OnPassword([this] { log_.Add("The password for configuration files changed."); });
  log_.Add("The device started with firmware " + firmware_.RunningVersion() + ".");
}

void Features::OnTimer() {
  files_.RemoveOld();
  upload_.DeleteOld(steady_());
  configuration_.DropOld();
}
