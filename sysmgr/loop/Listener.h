// SPDX-License-Identifier: MIT
//
// A Unix stream socket that is listened on. While somebody holds it, no other service can begin on
// the same path.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "base/Descriptor.h"
#include "sysmgr/loop/EventLoop.h"

class Listener {
 public:
  // One turn of the loop takes this many new connections, so that the others get theirs.
  static constexpr int kAcceptsPerTurn = 32;

  // Called for each new connection, whose descriptor does not block. What it throws is logged, and
  // the connection is closed.
  using Accepted = std::function<void(Descriptor)>;

  // Listens at `path`, with that mode. The socket's folder is made with mode 0750 if it isn't
  // there; one that is more open than that is refused. Nobody is accepted yet. Throws StartFailure.
  Listener(std::string path, mode_t mode);
  // Removes the socket.
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const std::string& Path() const { return path_; }

  // Accepts from now on. The loop must outlive the listener.
  void Accept(EventLoop& loop, Accepted accepted);

 private:
  static void OnAccept(int descriptor, short what, void* listener);
  static void OnPause(int descriptor, short what, void* listener);

  void Bind(mode_t mode);
  void AcceptSome();

  std::string path_;
  Descriptor socket_;
  bool isOurs_ = false;
  EventLoop* loop_ = nullptr;
  Accepted accepted_;
  EventPointer acceptEvent_;
  EventPointer pause_;
};
