// SPDX-License-Identifier: MIT
//
// One stored value per station and property.
#include "simulator/StationBook.h"

#include <functional>
#include <utility>

namespace {

constexpr const char* kName = "name ";
constexpr const char* kAdded = "added ";

// As all adapters of this kind leave the factory.
constexpr const char* kFactoryName = "HomePlug";
constexpr const char* kFactoryPassword = "HomePlugAV";

// Hashed, so that no password is kept.
std::string NetworkOf(const std::string& name, const std::string& password) {
  return std::to_string(std::hash<std::string>()(name + '\n' + password));
}

}  // namespace

void StationBook::SetLocalName(std::string name) {
  localName_ = std::move(name);
  ++changes_;
}

void StationBook::SetNetwork(const std::string& name, const std::string& password) {
  name_ = name;
  password_ = password;
  network_ = NetworkOf(name, password);
  ++changes_;
}

bool StationBook::IsFactoryNetwork() const {
  return name_ == kFactoryName && password_ == kFactoryPassword;
}

const std::string& StationBook::Find(const std::string& name) const {
  static const std::string kNone;
  const auto found = provider_.Kept().find(name);
  return found == provider_.Kept().end() ? kNone : found->second;
}

const std::string& StationBook::NameOf(const std::string& macAddress) const {
  return Find(kName + macAddress);
}

bool StationBook::IsAdded(const std::string& macAddress) const {
  return Find(kAdded + macAddress) == network_;
}

std::string StationBook::SetName(const std::string& macAddress, const std::string& name) {
  return provider_.Keep({{kName + macAddress, name}});
}

std::string StationBook::Add(const std::string& macAddress) {
  return provider_.Keep({{kAdded + macAddress, network_}});
}
