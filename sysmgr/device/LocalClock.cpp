// SPDX-License-Identifier: MIT
#include "sysmgr/device/LocalClock.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kMinuteLength = 5;  // "14:00"

std::string WithBlanks(std::string_view name) {
  std::string text(name);
  std::replace(text.begin(), text.end(), '_', ' ');
  return text;
}

// "America/Argentina/Buenos_Aires" is "Buenos Aires, Argentina" in the area "America".
LiveRow RowOf(const Zones::Zone& zone, std::int64_t now) {
  const std::size_t slash = std::min(zone.name.find('/'), zone.name.size());
  const std::string_view place = zone.name.substr(std::min(slash + 1, zone.name.size()));
  const std::size_t inner = place.find('/');
  std::string shown = WithBlanks(place.empty() ? zone.name : place);
  if (inner != std::string_view::npos) {
    shown = WithBlanks(place.substr(inner + 1)) + ", " + WithBlanks(place.substr(0, inner));
  }
  const std::string_view area = place.empty() ? std::string_view() : zone.name.substr(0, slash);
  return {std::string(zone.name), std::string(area), std::move(shown),
          Zones::At(zone.name, now).time.substr(0, kMinuteLength)};
}

}  // namespace

void LocalClock::OfferTo(Sources& sources) const {
  sources.OfferTable("clock", {{"Zone", "Date", "Time", "Offset"}, [this](const Question&) {
                                 const std::string zone = zone_();
                                 const Zones::LocalTime now = Zones::At(zone, Now());
                                 return std::make_shared<std::vector<LiveRow>>(
                                     1, LiveRow{zone, now.date, now.time, now.offset});
                               }});
  sources.OfferTable("time-zones", {{"Name", "Area", "Place", "Time"}, [this](const Question&) {
                                      auto rows = std::make_shared<std::vector<LiveRow>>();
                                      for (const Zones::Zone& zone : Zones::All()) {
                                        if (zone.isListed) rows->push_back(RowOf(zone, Now()));
                                      }
                                      return rows;
                                    }});
}
