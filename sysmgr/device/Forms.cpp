// SPDX-License-Identifier: MIT
//
// Three values of a setting are compared: the one that the page has shown, the present one and the
// one that came.
#include "sysmgr/device/Forms.h"

#include <memory>
#include <optional>
#include <utility>

Forms::Forms(const Settings& settings, const ChangeBook& book, Clock clock)
    : settings_(settings), book_(book), clock_(std::move(clock)) {}

Outcome Forms::Merge(const Tickets::Ticket& ticket, Storage::Batch& batch,
                     const Storage::Lookup& before, std::vector<std::string>& moved) const {
  Storage::Batch touched;
  for (auto& [key, value] : batch) {
    const ModelKey* const definition = settings_.Definitions().Find(key);
    const std::string& present = before(key);
    // A page never shows a secret, so one that came was entered there.
    const bool isShown = definition != nullptr && definition->CanBeRead();
    const std::optional<std::string> shown =
        isShown ? book_.ValueIn(ticket.base, key) : std::optional(present);
    if (shown == value && present != value) continue;
    const bool isTold = book_.ValueIn(ticket.seen, key) == present;
    if (shown != present && value != present && !isTold) moved.push_back(key);
    touched.emplace_back(std::move(key), std::move(value));
  }
  batch = std::move(touched);
  return moved.empty() ? Outcome() : Outcome(Sentence::kFormMoved);
}

void Forms::Note(std::string_view action, std::string_view value, std::string_view ticket) {
  actions_.push_front({std::string(action), std::string(value), clock_(), std::string(ticket)});
  if (actions_.size() > kMaxActions) actions_.pop_back();
}

LiveValue Forms::Issue(const Question& question) {
  const std::uint64_t now = book_.Now();
  Tickets::Ticket former{0, now, now, {}};
  if (const std::string* again = question.Selector("Again")) tickets_.Read(*again, former);
  return {tickets_.Issue(former.base, now)};
}

LiveRows Forms::Actions() const {
  auto rows = std::make_shared<std::vector<LiveRow>>();
  for (const Action& action : actions_) {
    rows->push_back(
        {action.key, action.value, std::to_string(clock_() - action.since), action.form});
  }
  return rows;
}

void Forms::OfferTo(Sources& sources) {
  ValueSource tickets;
  tickets.selectors = {"Again"};
  tickets.value = [this](const Question& question) { return Issue(question); };
  sources.OfferValue("tickets", std::move(tickets));
  sources.OfferTable("actions", {{"Key", "Value", "Seconds", "Form"},
                                 [this](const Question&) { return Actions(); }});
}
