// SPDX-License-Identifier: MIT
//
// The one event loop of the service. One thread serves everybody; the rule to know: nothing that
// is called from it may wait for anybody.
#pragma once

#include <functional>
#include <list>
#include <memory>

#include "sysmgr/loop/Events.h"

class EventLoop {
 public:
  // Throws StartFailure. From here on a client that is gone, or a file that must not grow further,
  // is the failed result of a write and no signal.
  EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  event_base* Base() const { return base_.get(); }

  // Calls `action` from the loop each time the signal comes.
  void OnSignal(int number, std::function<void()> action);

  // Calls `action` every so many seconds. It holds everybody up while it runs.
  void Every(int seconds, std::function<void()> action);

  // Calls `step` again and again, with so many milliseconds before each call, until it returns
  // false. It holds everybody up while it runs. There is one at a time: a new one ends the former.
  // Throws when the loop takes no more events.
  void RunSteps(int milliseconds, std::function<bool()> step);

  // Calls `action` every so many seconds until it returns false. Any number of them run at a time.
  // Throws when the loop takes no more events.
  void While(int seconds, std::function<bool()> action);

  // Serves until End or Fail.
  void Run();
  void End();
  // Ends it as a StartFailure of Run: it can't serve any more.
  void Fail();

 private:
  struct Task {
    EventPointer event;
    std::function<void()> action;
  };

  // An action that runs for a while; it goes when it is over.
  struct Passing {
    EventLoop& loop;
    EventPointer event;
    std::function<bool()> action;
  };

  static bool Call(const std::function<bool()>& step);
  static void CallTask(int descriptor, short what, void* task);
  static void CallStep(int descriptor, short what, void* loop);
  static void CallPassing(int descriptor, short what, void* passing);

  std::unique_ptr<event_base, EventDeleter> base_;
  std::list<Task> tasks_;
  std::list<Passing> passing_;
  EventPointer stepEvent_;
  std::function<bool()> step_;
  bool failed_ = false;
};
