// SPDX-License-Identifier: MIT
#include "query/SysMgr.h"

#include <utility>

#include "base/Settings.h"
#include "platform/SysMgrProxy.h"

namespace {

// What the system manager expects where a query may name an option.
constexpr char kNoOption[] = "0";

// False, with `reply` left to be forgotten, when the query failed.
bool Query(const StringTable& query, std::string& reply) {
  return gSysMgr.sQueryKey(gServiceName, query.Serialize(), kNoOption, reply) == 0;
}

}  // namespace

StringTable SysMgr_Query(const StringTable& query) {
  std::string reply;
  if (!Query(query, reply)) return StringTable();
  return StringTable(std::move(reply), kSerializedTable);
}

std::string SysMgr_QueryString(const StringTable& query) {
  std::string reply;
  if (!Query(query, reply)) return std::string();
  return reply;
}

StringTable SysMgr_Set(const StringTable& keys, const StringTable& values) {
  std::string reply;
  gSysMgr.sSetKey(gServiceName, keys.Serialize(), values.Serialize(), reply);
  return StringTable(std::move(reply), kSerializedTable);
}
