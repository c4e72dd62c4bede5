// SPDX-License-Identifier: MIT
// Has no system manager: a query gives its keys and the asking service, a set refuses everything.
#pragma once

#include <string>

#include "platform/SvcMgrAdapter.h"

class SysMgrProxy {
 public:
  SysMgrProxy(const std::string& name, SvcMgrAdapter& service, const std::string& authFile);
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply);

 private:
  std::string name_;
  SvcMgrAdapter& service_;
};
