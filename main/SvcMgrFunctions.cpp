// SPDX-License-Identifier: MIT
#include "main/SvcMgrFunctions.h"

int SvcMgrFunctions::stop() {
  return 0;
}

SvcMgrFunctions::~SvcMgrFunctions() = default;

int SvcMgrFunctions::start(const Config::Tree* /*configuration*/) {
  return 0;
}
