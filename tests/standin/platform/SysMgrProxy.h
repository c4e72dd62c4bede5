// SPDX-License-Identifier: MIT
//
// The proxy of a device maker's own client library: answers by itself.
#pragma once

#include <string>

#include "platform/SvcMgrAdapter.h"

class SysMgrProxy {
 public:
  SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string& authFile);
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply);

 private:
  std::string name_;
  SvcMgrInterface& service_;
};
