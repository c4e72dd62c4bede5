// SPDX-License-Identifier: MIT
//
// One file holds sysmgrd and sysmgrctl, which is a link to it: they use the same libraries, and a
// device's flash holds these once. The name that it is started by decides which of the two it is.
#include <string_view>

#include "sysmgr/Control.h"
#include "sysmgr/Daemon.h"

int main(int count, char** arguments) {
  const std::string_view path = count > 0 ? arguments[0] : "";
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name == "sysmgrctl" ? ControlMain(count, arguments) : DaemonMain(count, arguments);
}
