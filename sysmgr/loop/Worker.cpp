// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library: no exception leaves them.
#include "sysmgr/loop/Worker.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

Worker::Worker(EventLoop& loop) : signal_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (signal_.IsOpen()) {
    event_.reset(event_new(loop.Base(), signal_.Number(), EV_READ | EV_PERSIST, OnDone, this));
  }
  if (event_ == nullptr || event_add(event_.get(), nullptr) != 0) {
    throw StartFailure("the event loop can't be set up");
  }
  // Signals belong to the loop: the new thread inherits that it takes none.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread_ = std::thread([this] { Work(); });
  } catch (const std::system_error& error) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw StartFailure("a thread can't be started: " + std::string(error.what()));
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Worker::~Worker() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Worker::Run(std::function<void()> work, std::function<void()> done) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    waiting_.push_back({std::move(work), std::move(done)});
  }
  ++open_;
  changed_.notify_all();
}

void Worker::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ends_ || !waiting_.empty(); });
    if (ends_) return;
    Job job = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    job.work();
    lock.lock();
    finished_.push_back(std::move(job));
    changed_.notify_all();
    // Fails only when the counter is full, and then the descriptor is readable anyway.
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(signal_.Number(), &one, sizeof one);
  }
}

void Worker::OnDone(int descriptor, short, void* worker) {
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t taken = read(descriptor, &count, sizeof count);
  static_cast<Worker*>(worker)->TellDone();
}

void Worker::TellDone() {
  for (;;) {
    Job job;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (finished_.empty()) return;
      job = std::move(finished_.front());
      finished_.pop_front();
    }
    --open_;
    try {
      job.done();
    } catch (const std::exception& error) {
      Log::Write("what follows the disk failed: " + std::string(error.what()));
    }
  }
}

void Worker::Finish() {
  while (open_ > 0) {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return !finished_.empty(); });
    }
    TellDone();
  }
}
