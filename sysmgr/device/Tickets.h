// SPDX-License-Identifier: MIT
//
// Tickets for forms. A page asks for one and sends it back with its form; the rule to know: the
// same content is done once with a ticket. So a repetition of the request, by a reload or a second
// click, is told from a new one. Who goes back in the browser and enters something else can send
// that with the ticket of the same page.
//
// A ticket says which state of the settings its page has shown. It holds no secret, and protects
// from mistakes, not from clients that mean to do something twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/log/Outcome.h"

class Tickets {
 public:
  // Of the uses that are remembered. When there are more, tickets up to the oldest of them are no
  // longer taken: a forgotten use must never count as new.
  static constexpr std::size_t kMaxUsed = 1024;

  struct Ticket {
    std::uint64_t number = 0;
    std::uint64_t base = 0;    // the state of the settings that the page has shown
    std::uint64_t seen = 0;    // the state of which it has told what others have changed since
    std::string content = {};  // a hash of what came with it
  };

  // Tickets of one object are not taken by another: whatever was used before a restart stays used.
  Tickets();

  // A new ticket: letters, digits and dashes.
  std::string Issue(std::uint64_t base, std::uint64_t seen);

  // Reads a ticket of this object, used or not. False, with `ticket` untouched, when it is none.
  bool Read(std::string_view text, Ticket& ticket) const;

  // Takes a ticket for the content that came with it. Fails with a sentence for the page when it
  // was taken for that before, is none of these, or too old.
  Outcome Take(std::string_view text, std::string_view content, Ticket& ticket);

  // What came with the ticket was not done: it can be taken again.
  void GiveBack(const Ticket& ticket) { used_.erase({ticket.number, ticket.content}); }

 private:
  std::string HashOf(std::string_view content) const;

  std::string epoch_;
  std::string key_;          // of the hashes: contents may be secrets
  std::uint64_t last_ = 0;   // the number of the last one issued
  std::uint64_t floor_ = 0;  // those up to here are no longer taken
  std::set<std::pair<std::uint64_t, std::string>> used_;
};
