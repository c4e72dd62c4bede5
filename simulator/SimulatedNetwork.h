// SPDX-License-Identifier: MIT
//
// The addresses that the Ethernet side of the simulated device uses: the static settings, or those
// from its simulated DHCP server. It offers the values "network-link", "network-address",
// "network-netmask" and "network-gateway".
#pragma once

#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"

class SimulatedNetwork {
 public:
  // The settings must outlive the network.
  explicit SimulatedNetwork(const Settings& settings) : settings_(settings) {}

  // The network must outlive the sources.
  void OfferTo(Sources& sources) const;

 private:
  std::string InForce(const char* setting, const char* lease) const;

  const Settings& settings_;
};
