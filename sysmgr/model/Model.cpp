// SPDX-License-Identifier: MIT
//
// Lookups in the model.
#include "sysmgr/model/Model.h"

#include <algorithm>
#include <utility>

bool ModelKey::IsOpenTo(std::string_view client) const {
  return clients.empty() || std::find(clients.begin(), clients.end(), client) != clients.end();
}

std::vector<std::string> ModelHistory::Columns() const {
  std::vector<std::string> columns = {row};
  columns.insert(columns.end(), keeps.begin(), keeps.end());
  for (const char* each : {"Here", "AwayAgo", "AwayFor", "Recorded", "TrendOver"}) {
    columns.emplace_back(each);
  }
  for (const std::string& value : values) {
    for (const char* each : {"Trend", "Day", "Least", "Mean", "Most"}) {
      columns.push_back(value + each);
    }
  }
  return columns;
}

bool ModelRule::Concerns(std::string_view key) const {
  return key == whenKey || std::find(keys.begin(), keys.end(), key) != keys.end();
}

const ModelKey* Model::Find(std::string_view name) const {
  const auto found = index_.find(std::string(name));
  return found == index_.end() ? nullptr : &keys_[found->second];
}

const ModelKey* Model::Ticket() const {
  const auto found = std::find_if(keys_.begin(), keys_.end(), [](const ModelKey& key) {
    return key.access == Access::kTicket;
  });
  return found == keys_.end() ? nullptr : &*found;
}

bool Model::Add(ModelKey key) {
  if (!index_.emplace(key.name, keys_.size()).second) return false;
  keys_.push_back(std::move(key));
  return true;
}

void Model::SetIdentity(std::string deviceName, std::int64_t version) {
  deviceName_ = std::move(deviceName);
  version_ = version;
}
