// SPDX-License-Identifier: MIT
//
// What the owner has stored about stations: their names on this device, and which were added. It is
// stored with the settings, under names of the service's own, and is removed with them.
#pragma once

#include <string>

#include "sysmgr/device/Settings.h"

class StationBook {
 public:
  // The settings must outlive the book.
  explicit StationBook(Settings& settings) : settings_(settings) {}

  // The local station's name.
  const std::string& LocalName() const;

  // MAC addresses are in the form that Powerline returns, with letters in upper case.

  // The owner's name for a station; "" if it has none.
  const std::string& NameOf(const std::string& macAddress) const;
  bool IsAdded(const std::string& macAddress) const;

  // Both fail when it can't be stored.
  Outcome SetName(const std::string& macAddress, const std::string& name);
  Outcome Add(const std::string& macAddress);

  // Changes whenever one of the answers may have changed.
  unsigned Changes() const { return settings_.Changes(); }

 private:
  Settings& settings_;
};
