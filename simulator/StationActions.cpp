// SPDX-License-Identifier: MIT
//
// Messages and events name a station by its address: names are anybody's words.
#include "simulator/StationActions.h"

#include <optional>

std::string StationActions::Name(std::string_view macAddress, std::string_view name) {
  const std::optional<std::size_t> station = powerline_.Find(macAddress);
  if (!station) return "There is no station with this address.";
  if (*station == 0) return "The name of this adapter is its device name in the settings.";
  const std::string address = powerline_.MacAddress(*station);
  const std::string problem = book_.SetName(address, std::string(name));
  if (!problem.empty()) return "The name " + problem + ".";
  log_.Add("Station " + address + (name.empty() ? " has its own name again." : " was named."));
  return "";
}

std::string StationActions::Add(std::string_view password) {
  const std::optional<std::size_t> station = Powerline::FindByPassword(password);
  if (!station) return "No adapter answers to this device password.";
  if (powerline_.IsThere(*station)) return "This adapter is in the network already.";
  const std::string address = powerline_.MacAddress(*station);
  const std::string problem = book_.Add(address);
  if (!problem.empty()) return "The new adapter " + problem + ".";
  log_.Add("Station " + address + " was added.");
  return "";
}

void StationActions::OfferTo(Sources& sources) {
  sources.OfferAction("name-station", [this](const ActionRequest& request) {
    return Name(request.Parameter("MacAddress"), request.Value());
  });
  sources.OfferAction("add-station",
                      [this](const ActionRequest& request) { return Add(request.Value()); });
}
