// SPDX-License-Identifier: MIT
//
// Creates the device's parts, first those that others need.
#include "sysmgr/Features.h"

#include <utility>
#include <vector>

namespace {

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

// The file holds a double for each carrier, in native byte order.
void OfferSnr(Sources& sources, const Powerline& powerline, HandoverFolder& files) {
  ValueSource snr;
  snr.makesFile = true;
  snr.selectors = {"MacAddress"};
  snr.value = [&powerline, &files](const Question& question) -> LiveValue {
    const std::string* address = question.Selector("MacAddress");
    if (address == nullptr) {
      return {"", Outcome(Sentence::kSelectorMissing).AboutName("MacAddress")};
    }
    const auto decibels = powerline.Snr(*address);
    if (!decibels) return {"", Sentence::kNoStation};
    const std::string_view bytes(reinterpret_cast<const char*>(decibels->data()),
                                 decibels->size() * sizeof(double));
    LiveValue path;
    path.outcome = files.Put("snr-", ".bin", bytes, path.text);
    return path;
  };
  sources.OfferValue("snr", std::move(snr));
}

}  // namespace

Features::Features(Settings& settings, const FeatureSetup& setup)
    : steady_(setup.steady),
      files_(setup.filesFolder, setup.steady),
      upload_(setup.uploadFile),
      log_(setup.timeOfDay),
      firmware_(setup.stateFolder, upload_, settings.Definitions().DeviceName(), log_),
      book_(settings),
      powerline_(setup.seed, setup.timeOfDay, setup.steady, book_,
                 [this] { return firmware_.RunningVersion(); }),
      configuration_(settings, files_, upload_, setup.steady),
      network_(settings),
      stations_(powerline_, book_, log_),
      restarts_(settings, firmware_, powerline_, log_) {
  log_.OfferTo(sources_);
  firmware_.OfferTo(sources_);
  powerline_.OfferTo(sources_);
  configuration_.OfferTo(sources_);
  network_.OfferTo(sources_);
  stations_.OfferTo(sources_);
  restarts_.OfferTo(sources_);
  OfferCheck(sources_, settings);
  OfferSnr(sources_, powerline_, files_);
  restarts_.AddListener([this] {
    configuration_.Restart();
    files_.RemoveAll();
    upload_.DeleteOurs();
  });
  AddEvents(settings);
}

// Adds the events of the device's log that the parts don't add themselves.
void Features::AddEvents(Settings& settings) {
  settings.AddObserver(
      [this](const std::vector<std::string>& keys) { log_.AddNames("Settings changed", keys); });
  configuration_.OnRestored([this] { log_.Add("A configuration was restored."); });
  log_.Add("The device started with firmware " + firmware_.RunningVersion() + ".");
}

void Features::OnTimer() {
  files_.RemoveOld();
  upload_.DeleteOld(steady_());
  configuration_.DropOld();
}
