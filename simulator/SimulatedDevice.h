// SPDX-License-Identifier: MIT
//
// The simulated adapter: its parts, put together behind one provider.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "provider/Provider.h"
#include "simulator/Powerline.h"
#include "simulator/SimulatedNetwork.h"
#include "simulator/StationBook.h"

class SimulatedDevice {
 public:
  // Makes all offers; the provider connects afterwards, and must outlive the device.
  SimulatedDevice(Provider& provider, std::uint64_t seed, Powerline::Names names,
                  Powerline::Clock timeOfDay, Powerline::Clock steady);
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  void SetUnplugged(bool isUnplugged) { powerline_.SetUnplugged(isUnplugged); }

 private:
  void OfferPowerline();
  void OfferActions();
  void Apply(const Provider::Pairs& settings);
  Provider::Answer Snr(const Provider::Question& question) const;

  // Both: "" or why not, a sentence that the model lists.
  std::string NameStation(std::string_view macAddress, std::string_view name);
  std::string AddStation(std::string_view password);

  Provider& provider_;
  StationBook book_;
  Powerline powerline_;
  SimulatedNetwork network_;
};
