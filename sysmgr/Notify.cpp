// SPDX-License-Identifier: MIT
//
// One datagram; systemd's library for it would bring more code than this.
#include "sysmgr/Notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>

#include "base/Descriptor.h"
#include "sysmgr/log/Log.h"

void NotifyServiceManager(std::string_view state) {
  const char* const variable = std::getenv("NOTIFY_SOCKET");
  const std::string_view path = variable == nullptr ? "" : variable;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return;
  path.copy(address.sun_path, path.size());
  // An abstract address, which is written with an "@" for its first byte.
  if (path.front() == '@') address.sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  const Descriptor own(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (sendto(own.Number(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
             reinterpret_cast<const sockaddr*>(&address), size) < 0) {
    Log::Write("the service manager can't be told: " + std::string(state), Log::Priority::kWarning);
  }
}
