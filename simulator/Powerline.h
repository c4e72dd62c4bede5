// SPDX-License-Identifier: MIT
//
// A simulated powerline network: a local station and seven others, two of them with bad links, and
// two more that join when a user adds them. The rule to know: all values are functions of the seed,
// the clocks and what is stored, so that the same second with the same seed always gives the same
// values. The noise follows the time of day; values that must grow steadily follow the monotonic
// clock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/StringTable.h"
#include "simulator/StationBook.h"

class Powerline {
 public:
  static constexpr std::size_t kCarriers = 1155;
  static constexpr std::size_t kStations = 8;      // always present; the first is the local one
  static constexpr std::size_t kAllStations = 10;  // including those that can be added
  static constexpr int kMaxBitsPerCarrier = 10;

  using Clock = std::function<std::int64_t()>;  // seconds
  using Decibels = std::array<double, kCarriers>;

  // Names as people give them, or those that pages have to bear: markup and worse.
  enum class Names { kFriendly, kHostile };

  // `timeOfDay` may jump in either direction, `steady` is a monotonic clock. `book` must outlive
  // the powerline.
  Powerline(std::uint64_t seed, Names names, Clock timeOfDay, Clock steady,
            const StationBook& book);

  // The version that the local station runs.
  void SetFirmware(std::string version);

  static const std::vector<std::string>& StationColumns();
  static const std::vector<std::string>& ToneMapColumns();
  const StringTable& Stations();
  static const std::vector<std::string>& SnrBandColumns();
  static const std::vector<std::string>& PowerBandColumns();
  const StringTable& ToneMaps();
  // Six bands of frequencies: for each station, and for what this one sends.
  const StringTable& SnrBands();
  const StringTable& PowerBands();
  // A number for each carrier, with commas between them; 256 is 0 dB.
  const std::string& OutputPower();
  std::int64_t UptimeSeconds() const { return steady_() - start_; }

  // Restarts the local station; the others keep running.
  void Restart();

  // Pulls the last of the stations that are always present out of its socket, or plugs it in again.
  void SetUnplugged(bool isUnplugged);

  // The signal-to-noise ratio, at that second of the time of day, of the signal that the local
  // station sends to station 1 to kAllStations - 1 (or, with `received`, receives from it), present
  // or not.
  Decibels Snr(std::size_t station, bool received, std::int64_t seconds) const;

  // The same at the current second, for the signal sent to the station with that MAC address, with
  // letters in either case. Nothing when there is no such station, or it is the local one.
  std::optional<Decibels> Snr(std::string_view macAddress) const;

  // The MAC address of a station.
  std::string MacAddress(std::size_t station) const;

  // The present station with that MAC address, with letters in either case; nothing if there is
  // none.
  std::optional<std::size_t> Find(std::string_view macAddress) const;

  // The station with that device password, with letters in either case, present or not; nothing if
  // there is none.
  static std::optional<std::size_t> FindByPassword(std::string_view password);

  // Whether the station is part of the network: it has power and the same network name and
  // password.
  bool IsThere(std::size_t station) const;

 private:
  struct Link {
    Decibels snr;
    std::array<unsigned char, kCarriers> toneMap;  // bits per carrier
    unsigned rate;                                 // Mbit/s
    double meanSnr;
  };

  std::uint64_t Hash(std::uint64_t a, std::uint64_t b, std::uint64_t c) const;
  double Noise(std::uint64_t a, std::uint64_t b, std::uint64_t c) const;  // -1 to 1
  Link MakeLink(std::size_t station, bool received) const;
  void Refresh();
  void AddStation(std::size_t station, const Link* sent, const Link* received);
  void MeasurePower();

  std::uint64_t seed_;
  Names names_;
  Clock timeOfDay_;
  Clock steady_;
  const StationBook& book_;
  std::string firmware_;
  std::int64_t begin_;  // the time of steady_ when the simulation began
  std::int64_t start_;  // the time of steady_ when the local station started
  bool isUnplugged_ = false;
  bool isFresh_ = false;   // whether nothing else has changed the values below
  std::int64_t now_ = -1;  // the second for which the values below were computed
  std::int64_t up_ = -1;   // the seconds since the simulation began, at that time
  unsigned changes_ = 0;   // the book's Changes() at that time
  StringTable stations_;
  StringTable toneMaps_;
  StringTable snrBands_;
  StringTable powerBands_;
  std::string outputPower_;
};
