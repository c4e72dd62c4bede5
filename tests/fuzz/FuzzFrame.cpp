// SPDX-License-Identifier: MIT
//
// Fuzz target: what a peer sends in answer to requests. The first byte of the input is the size of
// the pieces in which the rest arrives at the proxy (0: one at a time); behind it the peer closes.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "main/SvcMgrFunctions.h"
#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"
#include "tests/Answer.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr std::size_t kSmallLimit = 20;

std::string gBytes;       // of the peer
std::size_t gPosition;    // of what has arrived
std::size_t gPieceBytes;  // at most so many arrive at once
unsigned gRequests;

// Every prefix of a text, as it grows.
void CheckGrowth(std::string_view text, std::size_t maxBytes) {
  using Netstring::Status;
  Status before = Status::kPartial;
  std::size_t wanted = 1;
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const std::string_view prefix = text.substr(0, size);
    const Netstring::Piece piece = Netstring::Read(prefix, maxBytes);
    Check(before == Status::kPartial || piece.status == before, "a verdict is final");
    Check(size >= wanted || piece.status != Status::kWhole, "nothing is whole before its size");
    if (piece.status == Status::kPartial) {
      Check(piece.size > size && piece.size >= wanted, "a part says what it lacks");
      wanted = piece.size;
    }
    if (piece.status == Status::kWhole) {
      std::string written;
      Netstring::Append(written, piece.bytes);
      Check(piece.bytes.size() <= maxBytes, "no more is taken than is allowed");
      Check(piece.size == written.size() && prefix.substr(0, piece.size) == written,
            "a netstring has one way to be written");
    }
    std::string_view left = prefix;
    std::string_view bytes;
    const Netstring::Piece whole = Netstring::Read(prefix, size);
    const bool taken = Netstring::Take(left, bytes);
    Check(taken == (whole.status == Status::kWhole), "what is whole is taken");
    Check(bytes == whole.bytes && left == prefix.substr(whole.size * taken),
          "what is taken is what is read");
    before = piece.status;
  }
}

bool HasSent(const std::string& reply) {
  const std::string answer = AnswerOf("0", reply);
  return gBytes.compare(0, answer.size(), answer) == 0;
}

void CheckProxy() {
  SvcMgrFunctions service;
  SysMgrProxy proxy("Vistel", service, "", "/socket");
  gPosition = 0;
  std::string reply = "untouched";
  const int queried = proxy.sQueryKey("c", "k", "0", reply);
  Check(queried == 0 ? HasSent(reply) : reply.empty(), "a reply is what the peer has sent");

  const std::string keys =
      "\x01"
      "1:2:1:a,1:b,";
  gPosition = 0;
  const int set = proxy.sSetKey("c", keys, keys, reply);
  const StringTable table(reply, StringTable::kSerialized);
  Check(table.Rows() >= 2 && table.Columns() == 1, "a set is answered for each key");
  bool hasText = false;
  for (unsigned row = 0; row < table.Rows(); ++row) hasText |= !table.View(row, 0).empty();
  Check(set == 0 ? HasSent(reply) : hasText, "a failed set never looks like a success");
}

}  // namespace

// The linker puts these functions in the place of those without "__wrap_".
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/) {
  return open("/dev/null", O_RDWR | O_CLOEXEC);
}

int __wrap_connect(int /*socket*/, const sockaddr* /*address*/, socklen_t /*size*/) {
  return 0;
}

ssize_t __wrap_send(int /*socket*/, const void* /*bytes*/, std::size_t size, int flags) {
  Check((flags & MSG_NOSIGNAL) != 0, "a peer that is gone raises no signal");
  ++gRequests;
  return static_cast<ssize_t>(size);
}

ssize_t __wrap_recv(int /*socket*/, void* bytes, std::size_t size, int flags) {
  if ((flags & MSG_DONTWAIT) != 0) {
    errno = EAGAIN;
    return -1;
  }
  const std::size_t count = std::min({size, gPieceBytes, gBytes.size() - gPosition});
  if (count != 0) std::memcpy(bytes, gBytes.data() + gPosition, count);
  gPosition += count;
  return static_cast<ssize_t>(count);
}

int __wrap_poll(pollfd* /*entries*/, nfds_t /*count*/, int /*timeout*/) {
  return 1;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  gPieceBytes = std::max<std::size_t>(data[0], 1);
  gBytes.assign(data + 1, data + size);
  gRequests = 0;
  CheckGrowth(gBytes, kSmallLimit);
  CheckGrowth(gBytes, SysMgrProxy::kMaxAnswerBytes);
  CheckProxy();
  Check(gRequests == 2, "a request is sent once");
  return 0;
}
