// SPDX-License-Identifier: MIT
//
// Fuzz target: the answers of a peer to requests. The first byte of the input is the size of the
// pieces in which the rest arrives at the proxy (0: one byte at a time); after that, the peer
// closes the connection.
#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "tests/FakeSystemManager.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr char kNotAnswered[] =
    "The system manager did not answer; the setting may or may not be stored.";
constexpr char kRefused[] = "The system manager refused the request; the setting was not stored.";

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(data + 1, data + size);
  FakeSystemManager peer;
  peer.otherwise = bytes;
  peer.manners.close = true;
  peer.manners.pieceBytes = std::max<std::size_t>(data[0], 1);

  std::string reply = "untouched";
  const int queried = gSysMgr.sQueryKey("c", "k", "0", reply);
  Check(queried == 0 || reply.empty(), "a failed query has no reply");
  const std::string answer = AnswerOf(std::to_string(queried), reply + gSysMgr.LastMessage());
  Check(queried == SysMgrProxy::kFailed || bytes.compare(0, answer.size(), answer) == 0,
        "an answer is what the peer has sent");
  Check(queried > 0 || gSysMgr.LastMessage().empty(), "only a refusal has a message");

  const StringTable table(reply, StringTable::kSerialized);
  Check(StringTable::IsSerialized(reply), "a success is a table");
  const bool fits =
      queried == 0 && table.Columns() == 1 && (table.Rows() == 2 || table.Rows() == 3);
  const std::string keys = TableText(1, {{"a"}, {"b"}});
  std::string outcome;
  const int set = gSysMgr.sSetKey("c", keys, keys, outcome);
  Check(set == (queried == 0 && !fits ? SysMgrProxy::kFailed : queried), "a set is a query");
  const char* const text = queried > 0 ? kRefused : kNotAnswered;
  Check(outcome == (fits ? reply : TableText(1, {{text}, {text}})), "each key has its outcome");
  Check(peer.requests.size() == 2, "a request is sent once");

  // What comes behind an answer may be the next answer, if more than one is asked for.
  std::string_view rest = bytes;
  std::string_view message;
  const bool isAlone = !Netstring::Take(rest, message) || rest.empty();
  for (int i = 0; i < 3; ++i) Check(gSysMgr.Ask("c", "k", "0"), "the time is not over");
  for (int i = 0; i < 3; ++i) {
    StringTable taken;
    const int result = gSysMgr.TakeAnswer(taken);
    Check(result == 0 || taken.Columns() == 0, "a failed query has no table");
    if (i > 0 && !isAlone) continue;
    Check(result == queried, "a query that is asked ahead has the same result");
    Check(result != 0 || taken.Serialize() == table.Serialize(), "and the same table");
  }
  return 0;
}
