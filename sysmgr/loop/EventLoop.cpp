// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library: no exception leaves them.
#include "sysmgr/loop/EventLoop.h"

#include <csignal>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

EventLoop::EventLoop() : base_(event_base_new()) {
  if (base_ == nullptr) throw StartFailure("the event loop can't be set up");
  for (const int number : {SIGPIPE, SIGXFSZ}) static_cast<void>(std::signal(number, SIG_IGN));
}

void EventLoop::OnSignal(int number, std::function<void()> action) {
  Task& task = tasks_.emplace_back(Task{nullptr, std::move(action)});
  task.event.reset(evsignal_new(base_.get(), number, CallTask, &task));
  if (task.event == nullptr || event_add(task.event.get(), nullptr) != 0) {
    throw StartFailure("signals can't be handled");
  }
}

void EventLoop::Every(int seconds, std::function<void()> action) {
  const timeval interval = {seconds, 0};
  Task& task = tasks_.emplace_back(Task{nullptr, std::move(action)});
  task.event.reset(event_new(base_.get(), -1, EV_PERSIST, CallTask, &task));
  if (task.event == nullptr || event_add(task.event.get(), &interval) != 0) {
    throw StartFailure("the timer can't be set up");
  }
}

void EventLoop::RunSteps(int milliseconds, std::function<bool()> step) {
  const timeval interval = TimeOf(milliseconds);
  stepEvent_.reset(event_new(base_.get(), -1, EV_PERSIST, CallStep, this));
  if (stepEvent_ == nullptr) throw std::runtime_error("the event loop takes no more events");
  AddEvent(stepEvent_, &interval);
  step_ = std::move(step);
}

void EventLoop::While(int seconds, std::function<bool()> action) {
  const timeval interval = {seconds, 0};
  Passing& passing = passing_.emplace_back(Passing{*this, nullptr, std::move(action)});
  passing.event.reset(event_new(base_.get(), -1, EV_PERSIST, CallPassing, &passing));
  if (passing.event == nullptr || event_add(passing.event.get(), &interval) != 0) {
    passing_.pop_back();
    throw std::runtime_error("the event loop takes no more events");
  }
}

void EventLoop::Run() {
  if (event_base_dispatch(base_.get()) != 0 || failed_) {
    throw StartFailure("the event loop failed");
  }
}

void EventLoop::End() {
  event_base_loopbreak(base_.get());
}

void EventLoop::Fail() {
  failed_ = true;
  End();
}

void EventLoop::CallTask(int, short, void* task) {
  try {
    static_cast<Task*>(task)->action();
  } catch (const std::exception& error) {
    Log::Write("what is due regularly failed: " + std::string(error.what()), Log::Priority::kError);
  }
}

// False when the step is over or has failed.
bool EventLoop::Call(const std::function<bool()>& step) {
  try {
    return step();
  } catch (const std::exception& error) {
    Log::Write("a step failed: " + std::string(error.what()), Log::Priority::kError);
    return false;
  }
}

void EventLoop::CallStep(int, short, void* loop) {
  auto* const self = static_cast<EventLoop*>(loop);
  if (!Call(self->step_)) event_del(self->stepEvent_.get());
}

void EventLoop::CallPassing(int, short, void* passing) {
  auto* const self = static_cast<Passing*>(passing);
  if (Call(self->action)) return;
  self->loop.passing_.remove_if([self](const Passing& other) { return &other == self; });
}
