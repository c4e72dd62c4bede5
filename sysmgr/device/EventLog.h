// SPDX-License-Identifier: MIT
//
// The last events of the device, in memory, for its owner to read on a page. The rules to know:
// events name settings and the addresses of stations, never values that a user has typed; and each
// is a sentence that catalogues can translate, with its subject beside it.
//
// Source: the table "log" (Time, Text, Number, Local, Offset, Sentence, Subject).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/LocalClock.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/log/Sentences.h"

class EventLog {
 public:
  static constexpr std::size_t kMaxEvents = 100;

  // The most bytes of a sentence and of a subject, in a row on a page. A longer text is cut.
  static constexpr std::size_t kMaxTextBytes = 400;

  // The most events that a batch of settings adds, one for each; the others are counted.
  static constexpr std::size_t kMaxSettings = 10;

  // The clock must outlive the log.
  explicit EventLog(const LocalClock& clock) : clock_(clock) {}

  // A sentence that ends with a colon takes a subject: a version, an address, a key, or another
  // sentence.
  void Add(Sentence sentence, std::string_view subject = {});

  // An event of a provider, in its words. Control characters and bytes beyond ASCII become "?".
  void AddTold(std::string_view sentence, std::string_view subject);

  void AddChanges(const std::vector<std::string>& keys);

  // Newest first.
  LiveRows Events() const;

  void OfferTo(Sources& sources) const;

 private:
  struct Event {
    std::int64_t time;
    std::string sentence;
    std::string subject;
  };

  const LocalClock& clock_;
  std::deque<Event> events_;  // newest first
};
