// SPDX-License-Identifier: MIT
//
// What a batch of settings gains when it comes from the form of a page, with a ticket. It is done
// once; a setting that the page has shown and nobody has touched there stays as it is now, even if
// others have changed it since; and one that was changed both there and elsewhere is stored only
// after the page has told so.
//
// Sources: "tickets" with the selector "Again", a ticket that was refused: the new one belongs to
// the same page, which now tells what others have changed. The table "actions" (Key, Value,
// Seconds, Form), the last ones that were carried out, newest first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/ChangeBook.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/device/Tickets.h"

class Forms {
 public:
  static constexpr std::size_t kMaxActions = 16;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // Both must outlive the object.
  Forms(const Settings& settings, const ChangeBook& book, Clock clock);

  // See Tickets.
  Outcome Take(std::string_view text, std::string_view content, Tickets::Ticket& ticket) {
    return tickets_.Take(text, content, ticket);
  }
  void GiveBack(const Tickets::Ticket& ticket) { tickets_.GiveBack(ticket); }

  // Leaves out of the batch what was not touched on the page of the ticket. Adds to `moved` the
  // settings that were changed both there and elsewhere; when there are any, the batch is refused.
  Outcome Merge(const Tickets::Ticket& ticket, Storage::Batch& batch, const Storage::Lookup& before,
                std::vector<std::string>& moved) const;

  // An action was carried out. `value`: "" when it is not for pages.
  void Note(std::string_view action, std::string_view value, std::string_view ticket);

  // The object must outlive the sources.
  void OfferTo(Sources& sources);

 private:
  struct Action {
    std::string key;
    std::string value;
    std::int64_t since;
    std::string form;
  };

  LiveValue Issue(const Question& question);
  LiveRows Actions() const;

  const Settings& settings_;
  const ChangeBook& book_;
  Clock clock_;
  Tickets tickets_;
  std::deque<Action> actions_;
};
