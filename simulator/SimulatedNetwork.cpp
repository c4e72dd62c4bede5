// SPDX-License-Identifier: MIT
//
// Settings take effect as soon as they are stored.
#include "simulator/SimulatedNetwork.h"

namespace {

constexpr const char* kMode = "Network.Mode";

// The name of a source, the setting with its static value, and the value from the DHCP server.
struct Part {
  const char* source;
  const char* setting;
  const char* lease;
};
constexpr Part kParts[] = {{"network-address", "Network.Address", "192.168.178.57"},
                           {"network-netmask", "Network.Netmask", "255.255.255.0"},
                           {"network-gateway", "Network.Gateway", "192.168.178.1"}};

}  // namespace

void SimulatedNetwork::OfferTo(Sources& sources) const {
  // Always up: the query came over it.
  sources.OfferText("network-link", [] { return std::string("up"); });
  for (const Part& part : kParts) {
    sources.OfferText(part.source, [this, &part] { return InForce(part.setting, part.lease); });
  }
}

std::string SimulatedNetwork::InForce(const char* setting, const char* lease) const {
  return settings_.Get(kMode) == "static" ? settings_.Get(setting) : lease;
}
