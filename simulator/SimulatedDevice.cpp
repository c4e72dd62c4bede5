// SPDX-License-Identifier: MIT
//
// Messages and events name a station by its address: names are anybody's words.
#include "simulator/SimulatedDevice.h"

#include <optional>
#include <utility>

namespace {

constexpr const char* kDeviceName = "System.DeviceName";
constexpr const char* kNetworkName = "HomePlug.NetworkName";
constexpr const char* kNetworkPassword = "HomePlug.NetworkPassword";
constexpr const char* kMacAddress = "MacAddress";

}  // namespace

SimulatedDevice::SimulatedDevice(Provider& provider, std::uint64_t seed, Powerline::Names names,
                                 Powerline::Clock timeOfDay, Powerline::Clock steady)
    : provider_(provider),
      book_(provider),
      powerline_(seed, names, std::move(timeOfDay), std::move(steady), book_) {
  OfferPowerline();
  OfferActions();
  SimulatedNetwork::OfferTo(provider_);
  for (const char* key : {kDeviceName, kNetworkName, kNetworkPassword}) provider_.Subscribe(key);
  provider_.OnSettings([this](const Provider::Pairs& settings) {
    Apply(settings);
    return true;
  });
}

void SimulatedDevice::OfferPowerline() {
  provider_.OfferValue("uptime", {}, [this](const Provider::Question&) {
    return Provider::Answer::Of(std::to_string(powerline_.UptimeSeconds()));
  });
  provider_.OfferValue("output-power", {}, [this](const Provider::Question&) {
    return Provider::Answer::Of(powerline_.OutputPower());
  });
  provider_.OfferTable("stations", Powerline::StationColumns(), [this](const auto&) {
    powerline_.SetFirmware(provider_.Firmware());
    return Provider::Answer::Of(powerline_.Stations());
  });
  provider_.OfferTable("tone-maps", Powerline::ToneMapColumns(),
                       [this](const auto&) { return Provider::Answer::Of(powerline_.ToneMaps()); });
  provider_.OfferTable("snr-bands", Powerline::SnrBandColumns(),
                       [this](const auto&) { return Provider::Answer::Of(powerline_.SnrBands()); });
  provider_.OfferTable("power-bands", Powerline::PowerBandColumns(), [this](const auto&) {
    return Provider::Answer::Of(powerline_.PowerBands());
  });
  provider_.OfferFile("snr", {kMacAddress},
                      [this](const Provider::Question& question) { return Snr(question); });
}

void SimulatedDevice::OfferActions() {
  provider_.OfferAction("name-station", [this](const Provider::Task& task) {
    return NameStation(task.Parameter(kMacAddress), task.value);
  });
  provider_.OfferAction("add-station",
                        [this](const Provider::Task& task) { return AddStation(task.value); });
  provider_.OfferAction("device-restart", [this](const Provider::Task&) {
    powerline_.Restart();
    return std::string();
  });
}

void SimulatedDevice::Apply(const Provider::Pairs& settings) {
  for (const auto& [key, value] : settings) {
    if (key == kDeviceName) book_.SetLocalName(value);
    if (key == kNetworkName) book_.SetNetworkName(value);
    if (key == kNetworkPassword) book_.SetNetworkPassword(value);
  }
  network_.Apply(settings);
  network_.PushTo(provider_);
}

// The file holds a double for each carrier, in this machine's byte order.
Provider::Answer SimulatedDevice::Snr(const Provider::Question& question) const {
  const std::string* const address = question.Selector(kMacAddress);
  if (address == nullptr) return Provider::Answer::None("the selector MacAddress is missing");
  const std::optional<Powerline::Decibels> decibels = powerline_.Snr(*address);
  if (!decibels) return Provider::Answer::None("there is no such station");
  return Provider::Answer::Of(std::string_view(reinterpret_cast<const char*>(decibels->data()),
                                               decibels->size() * sizeof(double)));
}

std::string SimulatedDevice::NameStation(std::string_view macAddress, std::string_view name) {
  const std::optional<std::size_t> station = powerline_.Find(macAddress);
  if (!station) return "There is no adapter with this address.";
  if (*station == 0) return "The name of this adapter is one of the settings.";
  const std::string address = powerline_.MacAddress(*station);
  std::string problem = book_.SetName(address, std::string(name));
  if (!problem.empty()) return problem;
  provider_.AddEvent(
      name.empty() ? "This adapter has its own name again:" : "This adapter was named:", address);
  return "";
}

std::string SimulatedDevice::AddStation(std::string_view password) {
  const std::optional<std::size_t> station = Powerline::FindByPassword(password);
  if (!station) return "No adapter answers to this device password.";
  if (powerline_.IsThere(*station)) return "This adapter is in the network already.";
  const std::string address = powerline_.MacAddress(*station);
  std::string problem = book_.Add(address);
  if (!problem.empty()) return problem;
  provider_.AddEvent("This adapter was added:", address);
  return "";
}
