// SPDX-License-Identifier: MIT
//
// Owners of the objects of the event loop's library.
#pragma once

#include <event2/event.h>
#include <sys/time.h>

#include <memory>
#include <stdexcept>

struct EventDeleter {
  void operator()(event* what) const { event_free(what); }
  void operator()(event_base* base) const { event_base_free(base); }
};
using EventPointer = std::unique_ptr<event, EventDeleter>;

// Waits for an event, at most for `time` if that is not null. Throws when that is impossible.
inline void AddEvent(const EventPointer& what, const timeval* time = nullptr) {
  if (event_add(what.get(), time) != 0) {
    throw std::runtime_error("the event loop takes no more events");
  }
}

// For AddEvent: after all that is ready in this round of the loop.
constexpr timeval kNextRound = {0, 0};

inline timeval TimeOf(int milliseconds) {
  return {milliseconds / 1000, milliseconds % 1000 * 1000L};
}
