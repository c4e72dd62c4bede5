// SPDX-License-Identifier: MIT
//
// One stored value per station and property.
#include "simulator/StationBook.h"

namespace {

constexpr const char* kDeviceName = "System.DeviceName";
constexpr const char* kName = "station-name ";
constexpr const char* kAdded = "station-added ";

}  // namespace

const std::string& StationBook::LocalName() const {
  return settings_.Get(kDeviceName);
}

const std::string& StationBook::NameOf(const std::string& macAddress) const {
  return settings_.GetOwn(kName + macAddress);
}

bool StationBook::IsAdded(const std::string& macAddress) const {
  return !settings_.GetOwn(kAdded + macAddress).empty();
}

Outcome StationBook::SetName(const std::string& macAddress, const std::string& name) {
  return settings_.StoreOwn(kName + macAddress, name);
}

Outcome StationBook::Add(const std::string& macAddress) {
  return settings_.StoreOwn(kAdded + macAddress, "1");
}
