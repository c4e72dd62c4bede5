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
#include "sysmgr/model/Check.h"
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
    const ModelKey* const known = settings.Definitions().Find(*key);
    const std::string given = value == nullptr ? "" : *value;
    return {
        settings.Check(*key, known == nullptr ? given : NormalForm(*known, given), question.client)
            .Text()};
  };
  sources.OfferValue("setting-check", std::move(check));
  ValueSource form;
  form.selectors = {"Key", "Value"};
  form.value = [&settings](const Question& question) -> LiveValue {
    const std::string* key = question.Selector("Key");
    const std::string* value = question.Selector("Value");
    const ModelKey* const known = key == nullptr ? nullptr : settings.Definitions().Find(*key);
    if (known == nullptr || value == nullptr) return {};
    std::string text = NormalForm(*known, *value);
    return {settings.Check(*key, text, question.client).IsSuccess() ? std::move(text) : ""};
  };
  sources.OfferValue("setting-form", std::move(form));
}

void OfferKeys(Sources& sources, const Model& model) {
  const auto rows = [&model](const Question& question) {
    return std::make_shared<std::vector<LiveRow>>(KeyList::Rows(model, question.client));
  };
  sources.OfferTable(KeyList::kSource, {KeyList::Columns(), rows});
}

// The device's zone is its setting of that type; a model without one is for devices that use UTC.
std::string ZoneOf(const Settings& settings) {
  const auto& keys = settings.Definitions().Keys();
  const auto found = std::find_if(keys.begin(), keys.end(), [](const ModelKey& key) {
    return key.type == ValueType::kTimeZone && key.IsSetting();
  });
  return found == keys.end() || settings.Get(found->name).empty() ? "UTC"
                                                                  : settings.Get(found->name);
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
      clock_([&settings] { return ZoneOf(settings); }, setup.timeOfDay),
      log_(clock_),
      firmware_(setup.stateFolder, upload_,
                {settings.Definitions().DeviceName(), setup.firmwareKeys, kTakesUnsigned}, log_),
      password_(setup.passwordFile, setup.commonPasswords, setup.steady, log_),
      configuration_(settings, files_, upload_, password_, clock_, setup.steady),
      history_(settings.Definitions(), setup.steady),
      book_(settings, setup.steady),
      forms_(settings, book_, setup.steady),
      trial_(settings, log_, setup.steady),
      restarts_(settings, firmware_, sources_, log_) {
  clock_.OfferTo(sources_);
  log_.OfferTo(sources_);
  firmware_.OfferTo(sources_);
  password_.OfferTo(sources_);
  configuration_.OfferTo(sources_);
  book_.OfferTo(sources_);
  forms_.OfferTo(sources_);
  trial_.OfferTo(sources_);
  OfferCheck(sources_, settings);
  OfferKeys(sources_, settings.Definitions());
  sources_.OfferText("service-version", [] { return std::string(VISTEL_VERSION); });
  restarts_.AddListener([this] {
    configuration_.Restart();
    history_.Clear();
    files_.RemoveAll();
    upload_.DeleteOurs();
  });
  firmware_.OnInstalled([this] { restarts_.RestartAtOnce(); });
  AddEvents(settings);
  LostSettings::OfferTo(sources_, settings, log_);
  OfferFactorySecrets(sources_, settings);
  CheckOffers(sources_);
  history_.OfferTo(sources_);
}

// Adds the events of the device's log that the parts don't add themselves.
void Features::AddEvents(Settings& settings) {
  settings.AddObserver([this](const Storage::Changes& changes, const std::string&) {
    log_.AddChanges(Settings::NamesOf(changes));
  });
  configuration_.OnRestored([this] { log_.Add(Sentence::kEventRestored); });
  configuration_.OnPassword([this] { log_.Add(Sentence::kEventConfigPassword); });
  log_.Add(Sentence::kEventStarted, firmware_.RunningVersion());
}

void Features::OnTimer() {
  files_.RemoveOld();
  upload_.DeleteOld(steady_());
  configuration_.DropOld();
  book_.DropOld();
}
