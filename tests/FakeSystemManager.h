// SPDX-License-Identifier: MIT
//
// A system manager for tests, in this process: programs that link this wrap the calls by which the
// client library reaches one. Nothing opens a socket, and whoever waits for an answer waits by the
// library's clock alone.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

// An answer, right or wrong, in the bytes of the wire.
std::string AnswerOf(const std::string& result, const std::string& reply);

// A table as it is written there.
std::string TableText(unsigned columns, const std::vector<std::vector<std::string>>& rows);

// While one lives (one at a time), connections to kSocket reach it. The program's own proxy is made
// anew when it comes and when it goes.
struct FakeSystemManager {
  using Request = std::vector<std::string>;  // the netstrings of the payload

  struct Manners {
    bool close = false;                            // behind `otherwise`
    int busyMilliseconds = 0;                      // nobody can connect before
    std::size_t requestBytes = std::string::npos;  // that it reads of a connection at most
    std::size_t pieceBytes = std::string::npos;    // of an answer that arrive at once at most
    int pieceMilliseconds = 0;                     // before each of the pieces
  };

  static constexpr char kSocket[] = "/system-manager";

  FakeSystemManager();
  ~FakeSystemManager();
  FakeSystemManager(const FakeSystemManager&) = delete;
  FakeSystemManager& operator=(const FakeSystemManager&) = delete;

  std::map<std::string, std::string> replies;            // to queries and sets, by their keys
  std::string otherwise = AnswerOf("1", "unknown key");  // sent as it is, to all other keys
  Manners manners;

  int milliseconds = 0;  // on the library's clock
  unsigned connections = 0;
  std::vector<Request> requests;
};
