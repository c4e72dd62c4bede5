// SPDX-License-Identifier: MIT
#pragma once

namespace Config {
class Tree;
}

struct SvcMgrAdapter {
  virtual int start(Config::Tree*) { return 1; }
  virtual int stop() { return 1; }
  virtual ~SvcMgrAdapter() = default;
};
