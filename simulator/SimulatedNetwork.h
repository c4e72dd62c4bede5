// SPDX-License-Identifier: MIT
//
// What the Ethernet side of the simulated device has in force: the static settings, or what its
// simulated DHCP server has given it. It offers the values "network-link", "network-address",
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
