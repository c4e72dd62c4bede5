// SPDX-License-Identifier: MIT
//
// The socket and the event loop. One thread serves all clients; the rule to know: nothing here
// waits for a client, and no client takes more memory or time than the limits below.
#pragma once

#include <sys/time.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/service/Connection.h"
#include "sysmgr/service/Dispatcher.h"
#include "sysmgr/service/Events.h"

class Server final : private Connection::Owner {
 public:
  // The time for the rest of a request after its first byte, and for a client to take any byte of
  // an answer.
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

  // How often `onTimer` is called.
  static constexpr int kTimerSeconds = 15;

  // Listens on `socketPath`. Makes the socket's folder with mode 0750 if it is missing, and refuses
  // one that is more open. Throws StartFailure. `dispatcher` must outlive the server. `onTimer`
  // does the work that is due without a request; all clients wait while it runs.
  // `deadlineMilliseconds`: see kDeadlineMilliseconds.
  Server(const std::string& socketPath, Dispatcher& dispatcher,
         std::function<void()> onTimer = nullptr, int deadlineMilliseconds = kDeadlineMilliseconds);

  // Closes all connections and removes the socket.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Calls `step` repeatedly, with so many milliseconds before each call, until it returns false.
  // All clients wait while it runs. There is one series of steps at a time: a new one ends the
  // former. Throws when the loop can't add events.
  void RunSteps(int milliseconds, std::function<bool()> step);

  // Serves until SIGTERM, SIGINT or SIGHUP.
  void Run();

 private:
  static void OnSignal(int number, short what, void* server);
  static void OnAccept(int descriptor, short what, void* server);
  static void OnAcceptPause(int descriptor, short what, void* server);
  static void OnTimer(int descriptor, short what, void* server);
  static void OnStep(int descriptor, short what, void* server);
  static void OnQueue(int descriptor, short what, void* server);

  void Listen();
  void AddSignals();
  void AddTimer();
  void Accept();
  void MakeRoom();

  event_base* Loop() const override { return base_.get(); }
  std::uint64_t CountActivity() override { return ++activity_; }
  bool Answer(std::string_view payload, std::string& out) override {
    return dispatcher_.Answer(payload, out);
  }
  void Queue(Connection& connection) override;
  void ChangePending(std::size_t before, const Connection& by) override;
  void ChangeInput(std::size_t before, const Connection& by) override;
  void Remove(Connection& connection) override;

  std::string socketPath_;
  Dispatcher& dispatcher_;
  std::function<void()> onTimer_;
  timeval deadline_;
  std::size_t maxConnections_ = kMaxConnections;
  std::unique_ptr<event_base, EventDeleter> base_;
  Descriptor listener_;
  bool socketIsOurs_ = false;
  bool failed_ = false;  // no further client can be accepted
  EventPointer acceptEvent_;
  EventPointer acceptPause_;
  EventPointer queueEvent_;
  EventPointer timerEvent_;
  EventPointer stepEvent_;
  std::function<bool()> step_;
  std::list<EventPointer> signals_;
  std::list<std::unique_ptr<Connection>> connections_;
  std::list<Connection*> queue_;  // in the order of their arrival; each once
  std::size_t pendingBytes_ = 0;
  std::size_t inputBytes_ = 0;
  std::uint64_t activity_ = 0;  // grows with each activity of a client
};
