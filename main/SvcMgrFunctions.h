// SPDX-License-Identifier: MIT
//
// The service that the proxy to the system manager asks for: this program offers none.
//
// `start` takes a constant tree and is therefore an operation of its own: whoever starts the
// service through its base reaches the base's start. `stop` does replace the base's.
#pragma once

#include "platform/SvcMgrAdapter.h"

class SvcMgrFunctions : public SvcMgrAdapter {
 public:
  using SvcMgrAdapter::start;

  int stop() override;
  ~SvcMgrFunctions() override;
  virtual int start(const Config::Tree* configuration);
};
