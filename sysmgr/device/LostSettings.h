// SPDX-License-Identifier: MIT
//
// Tells that stored settings were lost, until somebody takes note of it or restores others.
//
// It offers the value "settings-lost" ("no", "damaged", "newer") and the action
// "settings-lost-noted".
#pragma once

#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"

namespace LostSettings {

// Adds the event, if there is one to tell. The settings must outlive the sources.
void OfferTo(Sources& sources, Settings& settings, EventLog& log);

}  // namespace LostSettings
