// SPDX-License-Identifier: MIT
// The library that belongs to the headers: a device maker's own instead of ours.
#include "platform/SysMgrProxy.h"

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrAdapter& service, const std::string&)
    : name_(name), service_(service) {}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  reply = query + "|" + name_ + "|" + client + "|" + option + "|" +
          std::to_string(service_.start(nullptr)) + std::to_string(service_.stop());
  return query == "fail" ? 1 : 0;
}

int SysMgrProxy::sSetKey(const std::string&, const std::string& keys, const std::string& values,
                         std::string& reply) {
  reply = "no " + keys + "=" + values;
  return 0;
}
