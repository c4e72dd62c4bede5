// SPDX-License-Identifier: MIT
//
// The service base of a device maker's own client library.
#pragma once

namespace Config {
class Tree;
}

class SvcMgrInterface {
 public:
  virtual int start(Config::Tree* configuration) = 0;
  virtual int stop() = 0;
  virtual ~SvcMgrInterface() = default;
};

class SvcMgrAdapter : public SvcMgrInterface {
 public:
  int start(Config::Tree*) override { return 1; }
  int stop() override { return 1; }
};
