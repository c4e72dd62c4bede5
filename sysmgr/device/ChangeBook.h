// SPDX-License-Identifier: MIT
//
// What was changed lately, in memory: for a page that says what it has changed, for taking a change
// back, and for knowing what an older page has shown. The rule to know: each batch that changes
// settings makes a new state, and states are numbered.
//
// Sources: the table "changes" (Number, Seconds, Form, Key, Before, After, Secret, Undo), newest
// first. Action: "undo", whose value is the number of a change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"

class ChangeBook {
 public:
  // How long a change can be taken back. The values of secrets are forgotten then.
  static constexpr std::int64_t kUndoSeconds = 600;

  // The changes that are kept, and the most bytes of their values: more than an evening of settings
  // takes. Older ones are forgotten.
  static constexpr std::size_t kMaxChanges = 64;
  static constexpr std::size_t kMaxBytes = std::size_t{256} << 10;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // The settings must outlive the book, which observes them.
  ChangeBook(Settings& settings, Clock clock);
  ~ChangeBook();
  ChangeBook(const ChangeBook&) = delete;
  ChangeBook& operator=(const ChangeBook&) = delete;

  // The number of the present state.
  std::uint64_t Now() const { return now_; }

  // The value of a setting in that state; nothing when that is forgotten.
  std::optional<std::string> ValueIn(std::uint64_t state, const std::string& key) const;

  // Forgets all changes: pages from before can't be compared with the settings any more.
  void Clear();

  // Forgets the secrets of changes that can't be taken back any more.
  void DropOld();

  // Both must outlive the book.
  void OfferTo(Sources& sources);

 private:
  struct Entry {
    std::uint64_t number;  // of the state that it has made
    std::int64_t since;
    std::string origin;
    Storage::Changes changes;
    std::size_t bytes;
  };

  void Add(const Storage::Changes& changes, const std::string& origin);
  void DropFirst();
  void WipeSecrets(Entry& entry) const;
  bool IsRecent(const Entry& entry) const { return clock_() - entry.since < kUndoSeconds; }
  bool IsInForce(const Entry& entry) const;
  LiveRows Rows(std::string_view client) const;
  void Undo(const ActionRequest& request, const OutcomeTaker& done);

  Settings& settings_;
  Clock clock_;
  std::deque<Entry> entries_;
  std::size_t bytes_ = 0;
  std::uint64_t now_ = 1;
  std::uint64_t first_ = 1;  // the oldest state that is known
};
