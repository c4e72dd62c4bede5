// SPDX-License-Identifier: MIT
#include "query/SysMgr.h"

#include <utility>

#include "base/Settings.h"
#include "platform/SysMgrProxy.h"
#include "values/WGLVariables.h"

namespace {

// The value of a query's option field, which is reserved.
constexpr char kNoOption[] = "0";

// Notes the result of a query. Returns false when it failed.
bool Note(int result) {
  if (result < 0) gVariables.Set(kUnansweredVariable, "1");
  return result == 0;
}

// Our client library reads an answer as a table and can ask ahead. A maker's own may do neither.
template <typename Proxy>
auto QueryTable(Proxy& proxy, const std::string& query, StringTable& answer, int /*preferred*/)
    -> decltype(proxy.sQueryKey(gServiceName, query, kNoOption, answer)) {
  return proxy.sQueryKey(gServiceName, query, kNoOption, answer);
}
template <typename Proxy>
int QueryTable(Proxy& proxy, const std::string& query, StringTable& answer, long /*otherwise*/) {
  std::string reply;
  const int result = proxy.sQueryKey(gServiceName, query, kNoOption, reply);
  if (result == 0) answer = StringTable(std::move(reply), kSerializedTable);
  return result;
}

template <typename Proxy>
auto Ask(Proxy& proxy, const StringTable& query, int /*preferred*/)
    -> decltype(proxy.Ask(gServiceName, query.Serialize(), kNoOption)) {
  return proxy.Ask(gServiceName, query.Serialize(), kNoOption);
}
template <typename Proxy>
bool Ask(Proxy& /*proxy*/, const StringTable& /*query*/, long /*otherwise*/) {
  return false;
}

template <typename Proxy>
auto TakeAnswer(Proxy& proxy, StringTable& answer, int /*preferred*/)
    -> decltype(proxy.TakeAnswer(answer)) {
  return proxy.TakeAnswer(answer);
}
template <typename Proxy>
int TakeAnswer(Proxy& /*proxy*/, StringTable& /*answer*/, long /*otherwise*/) {
  return -1;
}

}  // namespace

StringTable SysMgr_Query(const StringTable& query) {
  StringTable answer;
  Note(QueryTable(gSysMgr, query.Serialize(), answer, 0));
  return answer;
}

bool SysMgr_Ask(const StringTable& query) {
  return Ask(gSysMgr, query, 0);
}

StringTable SysMgr_TakeAnswer() {
  StringTable answer;
  Note(TakeAnswer(gSysMgr, answer, 0));
  return answer;
}

std::string SysMgr_QueryString(const StringTable& query) {
  std::string reply;
  const int result = gSysMgr.sQueryKey(gServiceName, query.Serialize(), kNoOption, reply);
  return Note(result) ? reply : std::string();
}

StringTable SysMgr_Set(const StringTable& keys, const StringTable& values) {
  std::string reply;
  gSysMgr.sSetKey(gServiceName, keys.Serialize(), values.Serialize(), reply);
  return StringTable(std::move(reply), kSerializedTable);
}
