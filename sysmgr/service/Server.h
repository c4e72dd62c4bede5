// SPDX-License-Identifier: MIT
//
// All clients' connections. The rule to know: no client takes more memory or time than the limits
// below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/Descriptor.h"
#include "sysmgr/loop/EventLoop.h"
#include "sysmgr/loop/Listener.h"
#include "sysmgr/service/Connection.h"
#include "sysmgr/service/Dispatcher.h"

class Server final : private Connection::Owner {
 public:
  // The time for the rest of a request after its first byte, and for a client to take a piece
  // of an answer.
  static constexpr int kDeadlineMilliseconds = 10000;

  // A page uses one connection, and a device's web server makes some dozens of pages at a time.
  // Beyond the limit, the connection whose request has been unfinished for longest is closed or, if
  // all requests are whole, the one that has been idle for longest.
  static constexpr std::size_t kMaxConnections = 1000;

  // Descriptors other than connections: standard streams, database, journal, event queue.
  static constexpr std::size_t kOtherDescriptors = 32;

  // The bytes of all answers that clients have not taken yet: four of the largest. Beyond that, the
  // client that has been slowest is disconnected.
  static constexpr std::size_t kMaxPendingBytes = std::size_t{64} << 20;

  // The memory of all requests that are not answered yet: eight of the largest, whose buffers take
  // twice their size while they grow. Any client that reaches the socket can fill it, so beyond
  // that, the client whose unfinished request began first is disconnected.
  static constexpr std::size_t kMaxInputBytes = std::size_t{16} << 20;

  // Accepts clients from now on. Loop, listener and dispatcher must outlive the server. Throws
  // StartFailure. `deadlineMilliseconds`: see kDeadlineMilliseconds.
  Server(EventLoop& loop, Listener& listener, Dispatcher& dispatcher,
         int deadlineMilliseconds = kDeadlineMilliseconds);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

 private:
  static void OnQueue(int descriptor, short what, void* server);

  void Accept(Descriptor descriptor);
  void MakeRoom();

  event_base* Loop() const override { return loop_.Base(); }
  std::uint64_t CountActivity() override { return ++activity_; }
  Dispatcher::Progress Answer(std::string_view payload, std::string& out,
                              const Dispatcher::Later& later,
                              const Dispatcher::Tables& tables) override {
    return dispatcher_.Answer(payload, out, later, tables);
  }
  void Queue(Connection& connection) override;
  void ChangePending(std::size_t before, const Connection& by) override;
  void ChangeInput(std::size_t before, const Connection& by) override;
  void Remove(Connection& connection) override;

  EventLoop& loop_;
  Dispatcher& dispatcher_;
  int deadlineMilliseconds_;
  std::size_t maxConnections_;
  EventPointer queueEvent_;
  std::list<std::shared_ptr<Connection>> connections_;
  // In the order of their arrival; each once, also when it is gone before its turn.
  std::list<std::weak_ptr<Connection>> queue_;
  std::size_t pendingBytes_ = 0;
  std::size_t inputBytes_ = 0;
  std::uint64_t activity_ = 0;  // grows with each activity of a client
};
