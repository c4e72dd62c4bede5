// SPDX-License-Identifier: MIT
//
// Events name a station by its address, because strangers choose the names.
#include "simulator/StationActions.h"

#include <optional>

Outcome StationActions::Name(std::string_view macAddress, std::string_view name) {
  const std::optional<std::size_t> station = powerline_.Find(macAddress);
  if (!station) return Sentence::kNoStation;
  if (*station == 0) return Sentence::kOwnName;
  const std::string address = powerline_.MacAddress(*station);
  Outcome stored = book_.SetName(address, std::string(name));
  if (!stored.IsSuccess()) return stored;
  log_.Add("Station " + address + (name.empty() ? " has its own name again." : " was named."));
  return {};
}

Outcome StationActions::Add(std::string_view password) {
  const std::optional<std::size_t> station = Powerline::FindByPassword(password);
  if (!station) return Sentence::kWrongDevicePassword;
  if (powerline_.IsThere(*station)) return Sentence::kInNetworkAlready;
  const std::string address = powerline_.MacAddress(*station);
  Outcome stored = book_.Add(address);
  if (!stored.IsSuccess()) return stored;
  log_.Add("Station " + address + " was added.");
  return {};
}

void StationActions::OfferTo(Sources& sources) {
  sources.OfferAction("name-station", [this](const ActionRequest& request) {
    return Name(request.Parameter("MacAddress"), request.Value());
  });
  sources.OfferAction("add-station",
                      [this](const ActionRequest& request) { return Add(request.Value()); });
}
