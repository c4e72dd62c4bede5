// SPDX-License-Identifier: MIT
//
// A system manager for tests, inside this process: programs that link this replace the system calls
// of the client library. No socket is opened, and waiting only advances the library's clock.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

// An answer in the bytes of the protocol, correct or not.
std::string AnswerOf(const std::string& result, const std::string& reply);

// A table in its serialised form.
std::string TableText(unsigned columns, const std::vector<std::vector<std::string>>& rows);

// While the object exists (one at a time), connections to kSocket reach it. Its constructor and
// destructor make the program's own proxy anew.
struct FakeSystemManager {
  using Request = std::vector<std::string>;  // the netstrings of the payload

  struct Manners {
    bool close = false;                            // the connection, after `otherwise`
    int busyMilliseconds = 0;                      // connecting fails before
    std::size_t requestBytes = std::string::npos;  // the most bytes that it reads of a connection
    std::size_t pieceBytes = std::string::npos;  // the most bytes of an answer that arrive at once
    int pieceMilliseconds = 0;                   // the time before each of the pieces
  };

  static constexpr char kSocket[] = "/system-manager";

  FakeSystemManager();
  ~FakeSystemManager();
  FakeSystemManager(const FakeSystemManager&) = delete;
  FakeSystemManager& operator=(const FakeSystemManager&) = delete;

  std::map<std::string, std::string> replies;            // to queries and sets, by their keys
  std::string otherwise = AnswerOf("1", "unknown key");  // sent unchanged for all other keys
  Manners manners;

  int milliseconds = 0;  // on the library's clock
  unsigned connections = 0;
  std::vector<Request> requests;
};
