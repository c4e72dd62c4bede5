// SPDX-License-Identifier: MIT
//
// One stored value per station and property.
#include "simulator/StationBook.h"

#include <utility>

namespace {

constexpr const char* kName = "name ";
constexpr const char* kAdded = "added ";

}  // namespace

void StationBook::SetLocalName(std::string name) {
  localName_ = std::move(name);
  ++changes_;
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
  return !Find(kAdded + macAddress).empty();
}

std::string StationBook::SetName(const std::string& macAddress, const std::string& name) {
  return provider_.Keep({{kName + macAddress, name}});
}

std::string StationBook::Add(const std::string& macAddress) {
  return provider_.Keep({{kAdded + macAddress, "1"}});
}
