// SPDX-License-Identifier: MIT
#include "sysmgr/device/LostSettings.h"

#include <string>
#include <utility>

void LostSettings::OfferTo(Sources& sources, Settings& settings, EventLog& log) {
  if (settings.Lost() == "newer") {
    log.Add(Sentence::kEventSettingsNewer);
  } else if (!settings.Lost().empty()) {
    log.Add(Sentence::kEventSettingsDamaged);
  }
  sources.OfferText("settings-lost", [&settings] {
    return settings.Lost().empty() ? std::string("no") : settings.Lost();
  });
  sources.OfferAction("settings-lost-noted", [&settings](const ActionRequest&, OutcomeTaker done) {
    Storage::Batch note;
    settings.TakeNote(note);
    settings.Store(std::move(note), std::move(done));
  });
}
