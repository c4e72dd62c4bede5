// SPDX-License-Identifier: MIT
#pragma once

namespace Config {
class Tree;
}

// What a program offers to the platform's service manager; the page program overrides both.
struct SvcMgrAdapter {
  virtual int start(Config::Tree*) { return 1; }
  virtual int stop() { return 1; }
  virtual ~SvcMgrAdapter() = default;
};
