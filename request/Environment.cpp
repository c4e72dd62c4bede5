// SPDX-License-Identifier: MIT
#include "request/Environment.h"

#include <cstdlib>

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}
