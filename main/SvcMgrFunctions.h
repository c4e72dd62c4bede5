// SPDX-License-Identifier: MIT
//
// The service object that the proxy to the system manager requires: this program offers no service.
//
// `start` takes a constant tree, so it is a different operation: a call through the base class
// reaches the base's start. `stop` does override the base's.
#pragma once

#include "platform/SvcMgrAdapter.h"

class SvcMgrFunctions : public SvcMgrAdapter {
 public:
  using SvcMgrAdapter::start;

  int stop() override;
  ~SvcMgrFunctions() override;
  virtual int start(const Config::Tree* configuration);
};
