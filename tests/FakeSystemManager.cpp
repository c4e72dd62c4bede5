// SPDX-License-Identifier: MIT
#include "tests/FakeSystemManager.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <new>

#include "main/SvcMgrFunctions.h"
#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr std::size_t kMaxBytesOfACall = 65536;

FakeSystemManager* gPeer = nullptr;

struct Connection {
  std::string received;  // bytes of the next request
  std::string arriving;  // bytes of answers
  bool arrived;          // whether the next piece of them has arrived
  bool closed;
  bool stalled;  // it has answered a request with less than an answer, or with something else
  unsigned sends, recvs, polls;
} gConnection;

int Fail(int error) {
  errno = error;
  return -1;
}

// Every second call fails, as if a signal had come or the descriptor were not ready.
bool FailsNow(unsigned& calls) {
  errno = ++calls % 4 == 1 ? EINTR : EAGAIN;
  return calls % 2 == 1;
}

void SetPeer(FakeSystemManager* peer) {
  static SvcMgrFunctions service;
  gPeer = peer;
  gConnection = {"", "", false, true, false, 0, 0, 0};
  gSysMgr.~SysMgrProxy();
  new (&gSysMgr) SysMgrProxy("Vistel", service, "", FakeSystemManager::kSocket);
}

}  // namespace

std::string AnswerOf(const std::string& result, const std::string& reply) {
  std::string payload, answer;
  Netstring::Append(payload, result);
  Netstring::Append(payload, reply);
  Netstring::Append(answer, payload);
  return answer;
}

std::string TableText(unsigned columns, const std::vector<std::vector<std::string>>& rows) {
  StringTable table(columns);
  for (const auto& row : rows) table.AddCells({row.begin(), row.end()});
  return table.Serialize();
}

FakeSystemManager::FakeSystemManager() {
  SetPeer(this);
}

FakeSystemManager::~FakeSystemManager() {
  SetPeer(nullptr);
}

// The linker uses these functions instead of those without "__wrap_".
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __wrap_clock_gettime(clockid_t /*clock*/, timespec* now) {
  const int milliseconds = gPeer != nullptr ? gPeer->milliseconds : 0;
  *now = {milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
  return 0;
}

int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/) {
  return open("/dev/null", O_RDWR | O_CLOEXEC);
}

int __wrap_connect(int /*socket*/, const sockaddr* address, socklen_t /*size*/) {
  const std::string path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
  if (gPeer == nullptr || path != FakeSystemManager::kSocket) return Fail(ECONNREFUSED);
  if (gPeer->milliseconds < gPeer->manners.busyMilliseconds) return Fail(EAGAIN);
  ++gPeer->connections;
  gConnection = {};
  return 0;
}

ssize_t __wrap_send(int /*socket*/, const void* bytes, std::size_t size, int flags) {
  Check((flags & MSG_NOSIGNAL) != 0, "a peer that is gone raises no signal");
  if (gConnection.closed) return Fail(EPIPE);
  if (FailsNow(gConnection.sends)) return -1;
  std::string& received = gConnection.received;
  size = std::min({size, kMaxBytesOfACall, gPeer->manners.requestBytes - received.size()});
  if (size == 0) return Fail(EAGAIN);
  received.append(static_cast<const char*>(bytes), size);
  std::string_view left = received;
  for (std::string_view payload; !gConnection.stalled && Netstring::Take(left, payload);) {
    FakeSystemManager::Request request;
    for (std::string_view part; Netstring::Take(payload, part);) request.emplace_back(part);
    gPeer->requests.push_back(request);
    const auto reply = gPeer->replies.find(request[4]);
    const bool known = reply != gPeer->replies.end();
    const std::string answer = known ? AnswerOf("0", reply->second) : gPeer->otherwise;
    gConnection.arriving += answer;
    gConnection.closed = !known && gPeer->manners.close;
    std::string_view rest = answer;
    gConnection.stalled = gConnection.closed || !Netstring::Take(rest, payload) || !rest.empty();
  }
  received.erase(0, received.size() - left.size());
  return static_cast<ssize_t>(size);
}

ssize_t __wrap_recv(int /*socket*/, void* bytes, std::size_t size, int flags) {
  if ((flags & MSG_DONTWAIT) == 0 && FailsNow(gConnection.recvs)) return -1;
  std::string& arriving = gConnection.arriving;
  if (arriving.empty()) return gConnection.closed ? 0 : Fail(EAGAIN);
  size = arriving.copy(static_cast<char*>(bytes), std::min(size, gPeer->manners.pieceBytes));
  arriving.erase(0, size);
  gConnection.arrived = false;
  return static_cast<ssize_t>(size);
}

int __wrap_poll(pollfd* entry, nfds_t /*count*/, int timeout) {
  if (entry != nullptr && FailsNow(gConnection.polls)) return Fail(EINTR);
  int needed = INT_MAX;
  if (entry != nullptr && entry->events == POLLOUT) {
    if (gConnection.received.size() < gPeer->manners.requestBytes) needed = 0;
  } else if (entry != nullptr && (!gConnection.arriving.empty() || gConnection.closed)) {
    needed = gConnection.arrived ? 0 : gPeer->manners.pieceMilliseconds;
    gConnection.arrived = needed <= timeout;
  }
  gPeer->milliseconds += std::min(needed, timeout);
  return needed <= timeout ? 1 : 0;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
