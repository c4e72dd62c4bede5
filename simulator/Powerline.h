// SPDX-License-Identifier: MIT
//
// A powerline network that exists only in numbers: a local station and seven others, two of them
// with bad links, and two more that join once somebody adds them. The rule to know: everything is a
// function of the seed, the clocks and what is stored, so that the same second of the same seed
// always looks the same. The time of day makes the noise; what has to grow steadily goes by the
// clock that nobody sets.
//
// It offers the values "uptime" (seconds) and "output-power" (a number for each carrier, 256 is
// 0 dB), and the tables "stations" and "tone-maps".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/StationBook.h"
#include "sysmgr/device/Sources.h"

class Powerline {
 public:
  static constexpr std::size_t kCarriers = 1155;
  static constexpr std::size_t kStations = 8;      // those always there; the local one is the first
  static constexpr std::size_t kAllStations = 10;  // with those that can be added
  static constexpr int kMaxBitsPerCarrier = 10;

  using Clock = std::function<std::int64_t()>;  // seconds
  using Decibels = std::array<double, kCarriers>;

  // `timeOfDay` may jump in either direction, `steady` never runs backwards. `book` must
  // outlive the powerline. `firmware`: the version that the local station runs.
  Powerline(std::uint64_t seed, Clock timeOfDay, Clock steady, const StationBook& book,
            std::function<std::string()> firmware);

  // The powerline must outlive the sources.
  void OfferTo(Sources& sources);

  LiveRows Stations();
  LiveRows ToneMaps();
  std::string OutputPower();
  std::int64_t UptimeSeconds() const { return steady_() - start_; }

  // The local station starts again; the others run on.
  void Restart();

  // The signal-to-noise ratio, at that second of the time of day, of what the local station sends
  // to (or, with `received`, gets from) station 1 to kAllStations - 1, whether it is there or not.
  Decibels Snr(std::size_t station, bool received, std::int64_t seconds) const;

  // The same at this second, from here to the station with that MAC address, letters in either
  // case. Nothing when there is no such station, or it is the local one.
  std::optional<Decibels> Snr(std::string_view macAddress) const;

  // The MAC address of a station.
  std::string MacAddress(std::size_t station) const;

  // Which station has that MAC address, letters in either case; nothing when none that is there.
  std::optional<std::size_t> Find(std::string_view macAddress) const;

  // Which station has that device password, letters in either case; nothing when none. It need not
  // be there.
  static std::optional<std::size_t> FindByPassword(std::string_view password);

  // Whether it is part of the network.
  bool IsThere(std::size_t station) const;

 private:
  struct Link {
    std::array<unsigned char, kCarriers> toneMap;  // bits per carrier
    unsigned rate;                                 // Mbit/s
    double meanSnr;
  };

  std::uint64_t Hash(std::uint64_t a, std::uint64_t b, std::uint64_t c) const;
  double Noise(std::uint64_t a, std::uint64_t b, std::uint64_t c) const;  // -1 to 1
  Link MakeLink(std::size_t station, bool received) const;
  void Refresh();
  LiveRow StationRow(std::size_t station, const Link* sent, const Link* received) const;

  std::uint64_t seed_;
  Clock timeOfDay_;
  Clock steady_;
  const StationBook& book_;
  std::function<std::string()> firmware_;
  std::int64_t begin_;     // of steady_, when the simulation began
  std::int64_t start_;     // of steady_, when the local station started
  std::int64_t now_ = -1;  // the second that the values below are of
  std::int64_t up_ = -1;   // the seconds since the simulation began that they are of
  unsigned changes_ = 0;   // those of the book that they are of
  LiveRows stations_;
  LiveRows toneMaps_;
  std::string outputPower_;
};
