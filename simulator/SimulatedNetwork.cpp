// SPDX-License-Identifier: MIT
#include "simulator/SimulatedNetwork.h"

namespace {

constexpr const char* kMode = "Network.Mode";
constexpr const char* kLink = "network-link";

// The name of a source, the setting with its static value, and the value from the DHCP server.
struct Part {
  const char* source;
  const char* setting;
  const char* lease;
};
constexpr Part kParts[] = {{"network-address", "Network.Address", "192.168.1.57"},
                           {"network-netmask", "Network.Netmask", "255.255.255.0"},
                           {"network-gateway", "Network.Gateway", "192.168.1.1"}};

}  // namespace

void SimulatedNetwork::OfferTo(Provider& provider) {
  provider.OfferPushedValue(kLink);
  for (const Part& part : kParts) {
    provider.OfferPushedValue(part.source);
    provider.Subscribe(part.setting);
  }
  provider.Subscribe(kMode);
}

void SimulatedNetwork::Apply(const Provider::Pairs& settings) {
  for (const auto& [key, value] : settings) settings_[key] = value;
}

void SimulatedNetwork::PushTo(Provider& provider) const {
  const auto valueOf = [this](const char* key) -> std::string {
    const auto found = settings_.find(key);
    return found == settings_.end() ? "" : found->second;
  };
  // Always up: the query came over it.
  provider.Push(kLink, "up");
  const bool isStatic = valueOf(kMode) == "static";
  for (const Part& part : kParts) {
    provider.Push(part.source, isStatic ? valueOf(part.setting) : part.lease);
  }
}
