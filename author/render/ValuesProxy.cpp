// SPDX-License-Identifier: MIT
//
// The client library's proxy as vistel-render links it: the values of a file instead of a
// connection. platform/SysMgrProxy.h has the contracts.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "author/render/Environment.h"
#include "author/render/Values.h"
#include "author/system/Failure.h"
#include "platform/SysMgrProxy.h"

namespace {

Values ReadValues() {
  const char* model = std::getenv(RenderEnvironment::kModel);
  const char* values = std::getenv(RenderEnvironment::kValues);
  try {
    Values result(DeviceModel::Read(model != nullptr ? model : ""),
                  values != nullptr ? values : "");
    const char* canary = std::getenv(RenderEnvironment::kCanary);
    if (canary != nullptr && *canary != '\0') result.AddCanaries();
    return result;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "vistel: %s\n", failure.what());
    std::_Exit(2);
  }
}

// Read at the first request: a page without a query needs no model.
const Values& GivenValues() {
  static const Values values = ReadValues();
  return values;
}

}  // namespace

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrInterface& /*service*/,
                         const std::string& authFile)
    : name_(name), authFile_(authFile), answerMilliseconds_(kAnswerMilliseconds) {}

int SysMgrProxy::sQueryKey(const std::string& /*client*/, const std::string& query,
                           const std::string& /*option*/, StringTable& answer) {
  if (GivenValues().Query(StringTable(query, StringTable::kSerialized), answer)) return kOk;
  answer = StringTable();
  return kFailed;
}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  reply.clear();
  StringTable answer;
  const int result = sQueryKey(client, query, option, answer);
  if (result == kOk) reply = answer.Serialize();
  return result;
}

// The values are there, so nothing is gained by asking ahead.
bool SysMgrProxy::Ask(const std::string& /*client*/, const std::string& /*query*/,
                      const std::string& /*option*/) {
  return false;
}

int SysMgrProxy::TakeAnswer(StringTable& /*answer*/) {
  return kFailed;
}

int SysMgrProxy::sSetKey(const std::string& /*client*/, const std::string& keys,
                         const std::string& /*values*/, std::string& reply) {
  reply = GivenValues().Set(StringTable(keys, StringTable::kSerialized)).Serialize();
  return kOk;
}
