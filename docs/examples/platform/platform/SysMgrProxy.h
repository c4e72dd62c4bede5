// SPDX-License-Identifier: MIT
//
// The way to the device's values. The rule to know: the constructor runs before main(), so it only
// keeps what it gets.
#pragma once

#include <string>

#include "platform/SvcMgrAdapter.h"

class SysMgrProxy {
 public:
  // `name`: this program's. `service`: what it offers. `authFile`: the file with the secret.
  SysMgrProxy(const std::string& name, SvcMgrAdapter& service, const std::string& authFile);

  // `query`: a serialised table of keys. `reply`: a serialised table, or why there is none. Returns
  // 0, a number above 0 if the query was refused, and one below 0 if nobody could be asked.
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);

  // Serialised tables of keys and of their values. `reply`: a table of one column, for each key
  // nothing or what is wrong with its value; if any is wrong, nothing is set.
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply);

 private:
  std::string name_;
  SvcMgrAdapter& service_;
  std::string authFile_;
};
