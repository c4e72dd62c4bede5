// SPDX-License-Identifier: MIT
#include "tests/standin/StandIn.h"

SysMgrProxy::SysMgrProxy(std::string name, SvcMgrAdapter& service, const std::string&)
    : name(std::move(name)), service(service) {}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  reply = query + "|" + name + "|" + client + "|" + option + "|" +
          std::to_string(service.start(nullptr)) + std::to_string(service.stop());
  return query == "fail" ? 1 : 0;
}

int SysMgrProxy::sSetKey(const std::string&, const std::string& keys, const std::string& values,
                         std::string& reply) {
  reply = "no " + keys + "=" + values;
  return 0;
}
