// SPDX-License-Identifier: MIT
//
// What the owner has told this device about stations: the names they go by here, and those that
// were added. It is kept with the settings, under names of the service's own, and goes with them.
#pragma once

#include <string>

#include "sysmgr/device/Settings.h"

class StationBook {
 public:
  // The settings must outlive the book.
  explicit StationBook(Settings& settings) : settings_(settings) {}

  // What the local station calls itself.
  const std::string& LocalName() const;

  // MAC addresses are those that Powerline gives, with letters in upper case.

  // The owner's name for a station; "" where it goes by its own.
  const std::string& NameOf(const std::string& macAddress) const;
  bool IsAdded(const std::string& macAddress) const;

  // Both fail when it can't be stored.
  Outcome SetName(const std::string& macAddress, const std::string& name);
  Outcome Add(const std::string& macAddress);

  // Another number whenever an answer may be another one.
  unsigned Changes() const { return settings_.Changes(); }

 private:
  Settings& settings_;
};
