// SPDX-License-Identifier: MIT
//
// Fuzz target: the answers of a peer to requests. The first byte of the input is the size of the
// pieces in which the rest arrives at the proxy (0: one byte at a time); after that, the peer
// closes the connection.
#include <algorithm>
#include <string>

#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "tests/FakeSystemManager.h"
#include "tests/fuzz/FuzzTarget.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(data + 1, data + size);
  FakeSystemManager peer;
  peer.otherwise = bytes;
  peer.manners.close = true;
  peer.manners.pieceBytes = std::max<std::size_t>(data[0], 1);
  const auto hasSent = [&](int result, const std::string& reply) {
    const std::string answer = AnswerOf(std::to_string(result), reply);
    return bytes.compare(0, answer.size(), answer) == 0;
  };

  std::string reply = "untouched";
  const int queried = gSysMgr.sQueryKey("c", "k", "0", reply);
  Check(queried == 0 || reply.empty(), "a failed query has no reply");
  Check(queried == SysMgrProxy::kFailed ||
            hasSent(queried, queried == 0 ? reply : gSysMgr.LastMessage()),
        "an answer is what the peer has sent");

  StringTable keys(1);
  keys.AddRow("a");
  keys.AddRow("b");
  const int set = gSysMgr.sSetKey("c", keys.Serialize(), keys.Serialize(), reply);
  const StringTable table(reply, StringTable::kSerialized);
  Check(table.Rows() >= 2 && table.Columns() == 1, "a set is answered for each key");
  bool hasText = false;
  for (unsigned row = 0; row < table.Rows(); ++row) hasText |= !table.View(row, 0).empty();
  Check(set == 0 ? hasSent(0, reply) : hasText, "a failed set never looks like a success");
  Check(peer.requests.size() == 2, "a request is sent once");
  return 0;
}
