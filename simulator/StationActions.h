// SPDX-License-Identifier: MIT
//
// Names stations and adds them to the network.
//
// Actions: "name-station" (the new name; parameter MacAddress) and "add-station" (a device
// password).
#pragma once

#include <string>
#include <string_view>

#include "simulator/Powerline.h"
#include "simulator/StationBook.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Sources.h"

class StationActions {
 public:
  // All must outlive the object.
  StationActions(const Powerline& powerline, StationBook& book, EventLog& log)
      : powerline_(powerline), book_(book), log_(log) {}

  Outcome Name(std::string_view macAddress, std::string_view name);
  Outcome Add(std::string_view password);

  void OfferTo(Sources& sources);

 private:
  const Powerline& powerline_;
  StationBook& book_;
  EventLog& log_;
};
