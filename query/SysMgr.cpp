// SPDX-License-Identifier: MIT
#include "query/SysMgr.h"

#include <utility>

#include "base/Settings.h"
#include "platform/SysMgrProxy.h"
#include "values/WGLVariables.h"

namespace {

// The value of a query's option field, which is reserved.
constexpr char kNoOption[] = "0";

// Says to the page that it lacks values, not because the system manager refused a query, but
// because it could not be reached or did not answer.
constexpr char kUnansweredVariable[] = "_unanswered";

// Returns false when the query failed; `reply` is unspecified then.
bool Query(const StringTable& query, std::string& reply) {
  const int result = gSysMgr.sQueryKey(gServiceName, query.Serialize(), kNoOption, reply);
  if (result < 0) gVariables.Set(kUnansweredVariable, "1");
  return result == 0;
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
