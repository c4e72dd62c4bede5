// SPDX-License-Identifier: MIT
//
// A system manager for tests: does with each request what the test says, however rude.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/Answer.h"

class FakeSystemManager {
 public:
  using Request = std::vector<std::string>;  // the netstrings of the payload

  struct Reaction {
    std::string bytes;           // sent as they are
    std::size_t pieceBytes = 0;  // sent in pieces of this size, each in a packet; 0 for all at once
    bool close = false;          // afterwards; otherwise the connection stays
  };

  // Listens at `path` until the object goes. `react` runs in another thread.
  FakeSystemManager(const std::string& path, std::function<Reaction(const Request&)> react);
  ~FakeSystemManager();
  FakeSystemManager(const FakeSystemManager&) = delete;
  FakeSystemManager& operator=(const FakeSystemManager&) = delete;

  std::vector<Request> Requests() const;
  unsigned Connections() const { return connections_; }

 private:
  void Serve();
  void Talk(int connection);

  std::string path_;
  std::function<Reaction(const Request&)> react_;
  int listener_;
  std::atomic<bool> stop_;
  std::atomic<unsigned> connections_;
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
  std::thread thread_;
};

// Puts a proxy to the system manager at that socket in the place of the program's; "" for none.
void UseSystemManager(const std::string& socketPath);
