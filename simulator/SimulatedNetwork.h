// SPDX-License-Identifier: MIT
//
// The addresses that the Ethernet side of the simulated device uses: the static settings, or those
// from its simulated DHCP server.
#pragma once

#include <map>
#include <string>

#include "provider/Provider.h"

class SimulatedNetwork {
 public:
  // Offers "network-link", "network-address", "network-netmask" and "network-gateway", and
  // subscribes to the settings.
  static void OfferTo(Provider& provider);

  // Settings that have changed are in force from now on.
  void Apply(const Provider::Pairs& settings);

  // Tells the service what is in force.
  void PushTo(Provider& provider) const;

 private:
  std::map<std::string, std::string> settings_;
};
