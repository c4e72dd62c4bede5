// SPDX-License-Identifier: MIT
//
// Puts the device's parts together, the ones that others rely on first.
#include "sysmgr/Features.h"

namespace {

constexpr const char* kDeviceName = "System.DeviceName";  // what the local station calls itself

}  // namespace

Features::Features(Settings& settings, const FeatureSetup& setup)
    : files_(setup.filesFolder, setup.steady),
      upload_(setup.uploadFile),
      powerline_(setup.seed, setup.timeOfDay, setup.steady,
                 [&settings] { return settings.Get(kDeviceName); }) {
  powerline_.OfferTo(sources_);
}

void Features::OnTimer() {
  files_.RemoveOld();
}
