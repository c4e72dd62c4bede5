// SPDX-License-Identifier: MIT
//
// What the owner has stored about stations: their names on this device, and which were added. The
// system manager keeps it with the settings.
#pragma once

#include <map>
#include <string>

#include "provider/Provider.h"

class StationBook {
 public:
  // The provider must outlive the book.
  explicit StationBook(Provider& provider) : provider_(provider) {}

  // The local station's name.
  const std::string& LocalName() const { return localName_; }
  void SetLocalName(std::string name);

  // The name and the password of the local station's network. The stations that are always present
  // have those of the factory.
  void SetNetworkName(const std::string& name) { SetNetwork(name, password_); }
  void SetNetworkPassword(const std::string& password) { SetNetwork(name_, password); }
  bool IsFactoryNetwork() const;

  // MAC addresses are in the form that Powerline returns, with letters in upper case.

  // The owner's name for a station; "" if it has none.
  const std::string& NameOf(const std::string& macAddress) const;
  // Whether it was added to the network that the local station is in now.
  bool IsAdded(const std::string& macAddress) const;

  // Both: "" or why it can't be stored, in a sentence for a page.
  std::string SetName(const std::string& macAddress, const std::string& name);
  std::string Add(const std::string& macAddress);

  // Changes whenever one of the answers may have changed.
  unsigned Changes() const { return changes_ + provider_.KeptChanges(); }

 private:
  void SetNetwork(const std::string& name, const std::string& password);
  const std::string& Find(const std::string& name) const;

  Provider& provider_;
  std::string localName_;
  std::string name_;
  std::string password_;
  std::string network_;  // stands for both, and can be kept
  unsigned changes_ = 0;
};
