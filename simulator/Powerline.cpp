// SPDX-License-Identifier: MIT
//
// Values are computed at most once a second, at its first query. A station's numbers follow from
// its signal-to-noise ratio: it determines the bits of each carrier, and these determine the rate.
#include "simulator/Powerline.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

#include "base/Characters.h"
#include "simulator/Bands.h"

namespace {

struct Profile {
  const char* name;
  const char* firmware;
  double snr;                 // decibels, mean over the carriers
  const char* password = "";  // the device password, printed on it; "" for stations always present
};

constexpr std::array<Profile, Powerline::kAllStations> kProfiles = {{
    {"", "", 0},  // the local station
    {"Living room", "2.3.1-02", 31},
    {"K\xC3\xBC\x63he & Flur", "2.3.1-02", 27},
    {"O'Brien's attic", "2.2.0-07", 23},
    {"B\xC3\xBCro Gr\xC3\xB6\xC3\x9F\x65", "2.3.0-11", 19},
    {"Chambre d'amis", "1.9.4-20", 15},
    {"Office", "1.9.4-20", 6},  // a bad link
    {"Cellar", "1.8.2-03", 4},  // another one
    {"Garage", "2.3.1-02", 17, "ABCD-EFGH-IJKL-MNOP"},
    {"Garden", "2.3.0-11", 11, "QRST-UVWX-YZAB-CDEF"},
}};

// Anybody can give a station any name, so pages must display all of these safely.
constexpr std::array<const char*, Powerline::kAllStations> kHostileNames = {
    "",
    "Wohnzimmer & K\xC3\xBC\x63he",
    "<script>alert(\"powerline\")</script>",
    "O'Brien \"attic\" <3",
    "B\xC3\xBCro Gr\xC3\xB6\xC3\x9F\x65, 1. Stock; {Role=local}",
    "${_lang}<~ + `x` ~>%41\\",
    "\"><img src=x onerror=alert(1)>",
    "Keller, hinter der Waschmaschine",
    "Garage",
    "Garten <&> \"H\xC3\xBCtte\""};

// The duration of one symbol of all carriers, and the share of bits that carry the user's data.
constexpr double kSymbolMicroseconds = 46.52;
constexpr double kCodeRate = 16.0 / 21.0;

// The signal-to-noise ratio that the first bit needs; each further bit needs 3 dB more.
constexpr double kFirstBitDecibels = 4.0;
constexpr double kBitDecibels = 3.0;

constexpr std::int64_t kTideSeconds = 7200;

// How often an adapter measures. In between, each question about its links has the same answer: a
// page that asks for the good ones and then for the weak ones sees each of them once.
constexpr std::int64_t kMeasuredEverySeconds = 4;

// Output power of carriers that send at all, and of those that must not disturb, in dB.
constexpr double kSentDecibels = -1;
constexpr double kSuppressedDecibels = -29;
constexpr double kZeroDecibels = 256;

// Where the picture of the output power begins, and what counts as all that is allowed.
constexpr double kLowestDecibels = -30;
constexpr double kFullDecibels = -3;

constexpr double kPi = 3.14159265358979323846;

// The bands of radio amateurs, as carriers, which stations must not disturb.
struct Band {
  std::size_t first;
  std::size_t last;
};
constexpr std::array<Band, 6> kRadioBands = {
    {{0, 8}, {62, 82}, {210, 226}, {330, 344}, {498, 522}, {782, 812}}};

bool IsRadioBand(std::size_t carrier) {
  return std::any_of(kRadioBands.begin(), kRadioBands.end(), [carrier](const Band& band) {
    return carrier >= band.first && carrier <= band.last;
  });
}

std::string Decimal(double number) {
  char text[32];
  const int size = std::snprintf(text, sizeof text, "%.1f", number);
  return std::string(text, static_cast<std::size_t>(size));
}

// A count that grows steadily.
std::string Count(std::int64_t seconds, double perSecond) {
  return std::to_string(static_cast<std::int64_t>(static_cast<double>(seconds) * perSecond));
}

template <typename Map>
std::string ToneMapText(const Map& toneMap) {
  std::string text;
  text.reserve(toneMap.size());
  for (const unsigned char bits : toneMap) text += static_cast<char>(bits < 10 ? '0' + bits : 'a');
  return text;
}

}  // namespace

Powerline::Powerline(std::uint64_t seed, Names names, Clock timeOfDay, Clock steady,
                     const StationBook& book)
    : seed_(seed),
      names_(names),
      timeOfDay_(std::move(timeOfDay)),
      steady_(std::move(steady)),
      book_(book),
      begin_(steady_()),
      start_(begin_) {}

void Powerline::SetFirmware(std::string version) {
  if (firmware_ == version) return;
  firmware_ = std::move(version);
  isFresh_ = false;
}

const std::vector<std::string>& Powerline::StationColumns() {
  static const std::vector<std::string> kColumns = {
      "Role",    "MacAddress", "Name",     "TxRate",   "RxRate",   "Firmware", "Uptime",
      "MeanSnr", "TxFrames",   "RxFrames", "TxErrors", "Repeated", "Quality"};
  return kColumns;
}

const std::vector<std::string>& Powerline::ToneMapColumns() {
  static const std::vector<std::string> kColumns = {"MacAddress", "TxToneMap", "RxToneMap"};
  return kColumns;
}

const std::vector<std::string>& Powerline::SnrBandColumns() {
  static const std::vector<std::string> kColumns = [] {
    std::vector<std::string> columns = Bands::Columns("Quality");
    columns.insert(columns.begin(), "MacAddress");
    return columns;
  }();
  return kColumns;
}

const std::vector<std::string>& Powerline::PowerBandColumns() {
  static const std::vector<std::string> kColumns = Bands::Columns("Level");
  return kColumns;
}

const StringTable& Powerline::SnrBands() {
  Refresh();
  return snrBands_;
}

const StringTable& Powerline::PowerBands() {
  Refresh();
  return powerBands_;
}

const std::string& Powerline::OutputPower() {
  Refresh();
  return outputPower_;
}

const StringTable& Powerline::ToneMaps() {
  Refresh();
  return toneMaps_;
}

const StringTable& Powerline::Stations() {
  Refresh();
  return stations_;
}

void Powerline::Restart() {
  start_ = steady_();
  isFresh_ = false;
}

void Powerline::SetUnplugged(bool isUnplugged) {
  if (isUnplugged_ == isUnplugged) return;
  isUnplugged_ = isUnplugged;
  isFresh_ = false;
}

bool Powerline::IsThere(std::size_t station) const {
  if (station == 0) return true;
  if (station == kStations - 1 && isUnplugged_) return false;
  return station < kStations ? book_.IsFactoryNetwork() : book_.IsAdded(MacAddress(station));
}

std::optional<std::size_t> Powerline::Find(std::string_view macAddress) const {
  for (std::size_t station = 0; station < kAllStations; ++station) {
    if (IsThere(station) && EqualIgnoringCase(MacAddress(station), macAddress)) {
      return station;
    }
  }
  return std::nullopt;
}

std::optional<std::size_t> Powerline::FindByPassword(std::string_view password) {
  for (std::size_t station = kStations; station < kAllStations; ++station) {
    if (EqualIgnoringCase(kProfiles[station].password, password)) return station;
  }
  return std::nullopt;
}

// Hashes its arguments to all 64 bits; the constants are those of splitmix64.
std::uint64_t Powerline::Hash(std::uint64_t a, std::uint64_t b, std::uint64_t c) const {
  std::uint64_t state = seed_;
  for (const std::uint64_t part : {a, b, c}) {
    state += part + 0x9E3779B97F4A7C15;
    state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9;
    state = (state ^ (state >> 27)) * 0x94D049BB133111EB;
    state ^= state >> 31;
  }
  return state;
}

double Powerline::Noise(std::uint64_t a, std::uint64_t b, std::uint64_t c) const {
  constexpr double kLargest = 9007199254740992.0;  // 2 to the power of 53
  return static_cast<double>(Hash(a, b, c) >> 11) / kLargest * 2 - 1;
}

std::string Powerline::MacAddress(std::size_t station) const {
  char text[24];
  const int size = std::snprintf(text, sizeof text, "00:00:5E:00:53:%02X",
                                 static_cast<unsigned>(station + 1) & 0xFFU);
  return std::string(text, static_cast<std::size_t>(size));
}

std::optional<Powerline::Decibels> Powerline::Snr(std::string_view macAddress) const {
  const std::optional<std::size_t> station = Find(macAddress);
  if (!station || *station == 0) return std::nullopt;
  return Snr(*station, false, timeOfDay_());
}

Powerline::Decibels Powerline::Snr(std::size_t station, bool received, std::int64_t seconds) const {
  const std::uint64_t link = station * 2 + (received ? 1 : 0);
  seconds -= seconds % kMeasuredEverySeconds;
  const auto second = static_cast<std::uint64_t>(seconds);
  // Appliances are switched within hours; from one measurement to the next, little changes.
  const double tide = 2.0 * std::sin(static_cast<double>(seconds % kTideSeconds) * 2 * kPi /
                                         static_cast<double>(kTideSeconds) +
                                     Noise(link, 0, 1) * kPi);
  const double ripple = Noise(link, second, 2);
  const double notchWidth = 90 + 40 * Noise(link, 0, 3);
  Decibels result{};
  for (std::size_t carrier = 0; carrier < kCarriers; ++carrier) {
    if (IsRadioBand(carrier)) continue;
    const auto place = static_cast<double>(carrier);
    // High frequencies are damped more, and reflections cause notches.
    const double slope = 5.0 - 10.0 * place / static_cast<double>(kCarriers);
    const double notches = 3.0 * std::sin(place / notchWidth * 2 * kPi + Noise(link, 0, 4) * kPi);
    const double grain = 1.5 * Noise(link, carrier, 5);
    const double decibels =
        kProfiles[station].snr + tide + ripple + slope + notches + grain + (received ? -1.0 : 0.0);
    result[carrier] = std::max(decibels, 0.0);
  }
  return result;
}

Powerline::Link Powerline::MakeLink(std::size_t station, bool received) const {
  const Decibels snr = Snr(station, received, now_);
  Link link{};
  unsigned bits = 0;
  for (std::size_t carrier = 0; carrier < kCarriers; ++carrier) {
    const double above = snr[carrier] - kFirstBitDecibels;
    const int count =
        above < 0 ? 0 : std::min(1 + static_cast<int>(above / kBitDecibels), kMaxBitsPerCarrier);
    link.toneMap[carrier] = static_cast<unsigned char>(count);
    bits += static_cast<unsigned>(count);
  }
  link.snr = snr;
  link.rate = static_cast<unsigned>(bits * kCodeRate / kSymbolMicroseconds);
  link.meanSnr = std::accumulate(snr.begin(), snr.end(), 0.0) / static_cast<double>(kCarriers);
  return link;
}

void Powerline::AddStation(std::size_t station, const Link* sent, const Link* received) {
  const std::string address = MacAddress(station);
  if (sent == nullptr || received == nullptr) {
    // The local station has no link to itself.
    const std::string up = std::to_string(UptimeSeconds());
    stations_.AddCells(
        {"local", address, book_.LocalName(), "", "", firmware_, up, "", "", "", "", "", ""});
    return;
  }
  // The other stations have been up for longer, each by up to ten days.
  const auto before = static_cast<std::int64_t>(Hash(station, 0, 6) % 864000);
  const std::int64_t up = up_ + before;
  const Profile& profile = kProfiles[station];
  const char* const own = names_ == Names::kHostile ? kHostileNames[station] : profile.name;
  const bool isBad = profile.snr < 10;
  const double errors = isBad ? 4.2 : 0.02;
  const double frames = 11 + 5 * Noise(station, 0, 7);
  const double wobble =
      isBad ? 4 * Noise(station, static_cast<std::uint64_t>(now_), 11) : 0;  // percent
  const std::string& given = book_.NameOf(address);
  const std::array<std::string, 8> cells = {
      std::to_string(sent->rate), std::to_string(received->rate),
      std::to_string(up),         Decimal(sent->meanSnr),
      Count(up, frames),          Count(up, 17 + 8 * Noise(station, 0, 8)),
      Count(up, errors),          std::to_string(std::lround(errors / frames * 100 + wobble))};
  stations_.AddCells({"remote", address, given.empty() ? own : given, cells[0], cells[1],
                      profile.firmware, cells[2], cells[3], cells[4], cells[5], cells[6], cells[7],
                      Bands::QualityOf(sent->meanSnr)});
}

void Powerline::Refresh() {
  const std::int64_t second = timeOfDay_();
  const std::int64_t up = steady_() - begin_;
  if (second == now_ && up == up_ && book_.Changes() == changes_ && isFresh_) return;
  isFresh_ = true;
  now_ = second;
  up_ = up;
  changes_ = book_.Changes();
  stations_ = StringTable(static_cast<unsigned>(StationColumns().size()));
  toneMaps_ = StringTable(static_cast<unsigned>(ToneMapColumns().size()));
  snrBands_ = StringTable(static_cast<unsigned>(SnrBandColumns().size()));
  AddStation(0, nullptr, nullptr);
  for (std::size_t station = 1; station < kAllStations; ++station) {
    if (!IsThere(station)) continue;
    const Link sent = MakeLink(station, false);
    const Link received = MakeLink(station, true);
    AddStation(station, &sent, &received);
    toneMaps_.AddCells(
        {MacAddress(station), ToneMapText(sent.toneMap), ToneMapText(received.toneMap)});
    Bands::AppendTo(
        snrBands_, {MacAddress(station)},
        {[](std::size_t carrier) { return !IsRadioBand(carrier); },
         [&sent](std::size_t carrier) { return sent.snr[carrier]; }, 0.0, Bands::QualityOf});
  }
  MeasurePower();
}

void Powerline::MeasurePower() {
  Decibels decibels{};
  outputPower_.clear();
  for (std::size_t carrier = 0; carrier < kCarriers; ++carrier) {
    const auto second = static_cast<std::uint64_t>(now_);
    decibels[carrier] = IsRadioBand(carrier) ? kSuppressedDecibels
                                             : kSentDecibels + Noise(0, carrier / 16, 9) +
                                                   0.3 * Noise(carrier, second, 10);
    if (carrier > 0) outputPower_ += ',';
    const double power = kZeroDecibels * std::pow(10.0, decibels[carrier] / 10.0);
    outputPower_ += std::to_string(std::lround(power));
  }
  powerBands_ = StringTable(static_cast<unsigned>(PowerBandColumns().size()));
  Bands::AppendTo(
      powerBands_, {},
      {[](std::size_t carrier) { return !IsRadioBand(carrier); },
       [&decibels](std::size_t carrier) { return decibels[carrier]; }, kLowestDecibels,
       [](double mean) -> std::string_view { return mean >= kFullDecibels ? "full" : "reduced"; }});
}
