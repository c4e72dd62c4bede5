// SPDX-License-Identifier: MIT
//
// A thread for what has to wait for the disk, beside the event loop. The rule to know: work touches
// only what nobody else touches meanwhile, and learns of the end of earlier work from the loop.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "base/Descriptor.h"
#include "sysmgr/loop/EventLoop.h"

class Worker {
 public:
  // The loop must outlive the worker. Throws StartFailure.
  explicit Worker(EventLoop& loop);
  // Waits for the work that has begun. The rest is dropped, and nobody is told.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Does `work` on the thread, after everything given before, and then calls `done` from the loop.
  // `work` must not throw.
  void Run(std::function<void()> work, std::function<void()> done);

  // Without the loop: waits until there is no work left, including what a `done` adds, and calls
  // each `done` from within.
  void Finish();

 private:
  struct Job {
    std::function<void()> work;
    std::function<void()> done;
  };

  static void OnDone(int descriptor, short what, void* worker);

  void Work();
  void TellDone();

  Descriptor signal_;  // readable while finished_ holds something
  EventPointer event_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> waiting_;
  std::deque<Job> finished_;
  std::size_t open_ = 0;  // jobs whose `done` has not been called; for the loop's thread only
  bool ends_ = false;
  std::thread thread_;  // the last, because it uses the others
};
