// SPDX-License-Identifier: MIT
#include "sysmgr/device/LostSettings.h"

#include <string>
#include <utility>

void LostSettings::OfferTo(Sources& sources, Settings& settings, EventLog& log) {
  if (settings.Lost() == "newer") {
    log.Add(
        "The stored settings are of newer firmware and are kept for it. This firmware began with "
        "factory settings.");
  } else if (!settings.Lost().empty()) {
    log.Add("The stored settings were damaged. The device began with factory settings.");
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
