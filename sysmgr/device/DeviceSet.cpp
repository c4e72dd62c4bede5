// SPDX-License-Identifier: MIT
//
// A set: a batch is checked key by key, and then carried out as an action or stored.
#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "sysmgr/device/Device.h"
#include "sysmgr/model/Check.h"

namespace {

// Whether the parameter is missing and required.
bool IsMissing(const ModelKey& parameter, const StringTable& keys) {
  for (unsigned row = 0; row < keys.Rows(); ++row) {
    if (keys.View(row, 0) == parameter.name) return false;
  }
  return !CheckValue(parameter, "").IsSuccess();
}

}  // namespace

// A batch on its way. Its ticket is taken out of it: actions and rules know nothing of it.
struct Device::Submission {
  StringTable keys{1};
  StringTable values{1};  // in their normal form
  std::string client;
  OutcomesTaker done;
  std::vector<unsigned> places;   // by row of `keys`: the row with which it came
  std::vector<Outcome> outcomes;  // by the row with which it came
  std::string ticketText;
  unsigned ticketPlace = 0;
  bool hasTicket = false;
  Tickets::Ticket ticket;
  std::vector<std::string> moved;  // settings that were changed elsewhere

  void AddOutcome(const std::string& key, const Outcome& outcome) {
    for (unsigned row = 0; row < keys.Rows(); ++row) {
      if (keys.View(row, 0) == key) outcomes[places[row]] = outcome;
    }
  }
};

// Whether the key may be in a batch with the other keys: an action goes only with its own
// parameters.
Outcome Device::CheckCompany(std::string_view name, const StringTable& keys) const {
  const ModelKey& definition = *model_.Find(std::string(name));
  if (definition.IsSetting()) return {};
  const bool isAction = definition.access == Access::kAction;
  bool hasAction = isAction;
  for (unsigned row = 0; row < keys.Rows(); ++row) {
    const std::string_view other = keys.View(row, 0);
    if (other == name) continue;
    if (other == definition.action) hasAction = true;
    const ModelKey* company = model_.Find(std::string(other));
    const bool isOurs = company != nullptr && company->access == Access::kParameter &&
                        company->action == definition.name;
    if (isAction && !isOurs) return Sentence::kActionNotAlone;
  }
  if (definition.access == Access::kParameter && !hasAction) {
    return Outcome(Sentence::kActionMissing).AboutName(definition.action);
  }
  if (!isAction) return {};
  for (const ModelKey& parameter : model_.Keys()) {
    if (parameter.access == Access::kParameter && parameter.action == definition.name &&
        IsMissing(parameter, keys)) {
      return Outcome(Sentence::kParameterMissing).AboutName(parameter.name);
    }
  }
  return {};
}

void Device::TakeApart(const StringTable& keys, const StringTable& values, Submission& work) const {
  const ModelKey* const ticket = forms_ == nullptr ? nullptr : model_.Ticket();
  const auto isTicket = [&](unsigned row) {
    return ticket != nullptr && keys.View(row, 0) == ticket->name;
  };
  for (unsigned row = 0; row < keys.Rows(); ++row) {
    if (!isTicket(row) || work.hasTicket) continue;
    work.hasTicket = true;
    work.ticketPlace = row;
    work.ticketText = values.View(row, 0);
  }
  work.outcomes.resize(keys.Rows());
  for (unsigned row = 0; row < keys.Rows(); ++row) {
    if (work.hasTicket && row == work.ticketPlace) continue;
    const std::string_view name = keys.View(row, 0);
    const std::string_view value = values.View(row, 0);
    const ModelKey* const key = model_.Find(std::string(name));
    // A form shows no secret: an empty one was not touched.
    if (work.hasTicket && key != nullptr && key->access == Access::kWriteOnly && value.empty()) {
      continue;
    }
    work.keys.AddCells({name});
    work.values.AddCells({key == nullptr ? std::string(value) : NormalForm(*key, value)});
    work.places.push_back(row);
  }
}

// Sets `action` to the row of the action, if there is one. False when something is wrong.
bool Device::CheckEach(Submission& work, Storage::Batch& batch, unsigned& action) const {
  bool fine = true;
  std::set<std::string_view> seen;
  for (unsigned row = 0; row < work.keys.Rows(); ++row) {
    const std::string_view name = work.keys.View(row, 0);
    Outcome outcome = settings_.Check(name, work.values.View(row, 0), work.client);
    if (outcome.IsSuccess() && !seen.insert(name).second) outcome = Sentence::kTwice;
    if (outcome.IsSuccess()) outcome = CheckCompany(name, work.keys);
    if (!outcome.IsSuccess()) {
      fine = false;
    } else if (model_.Find(std::string(name))->access == Access::kAction) {
      action = row;
    } else {
      batch.emplace_back(name, work.values.View(row, 0));
    }
    work.outcomes[work.places[row]] = std::move(outcome);
  }
  if (!fine || !work.hasTicket || forms_ == nullptr) return fine;
  // Netstrings of tables: no two contents give the same.
  const std::string content = work.keys.Serialize() + '\n' + work.values.Serialize();
  Outcome taken = forms_->Take(work.ticketText, content, work.ticket);
  fine = taken.IsSuccess();
  work.outcomes[work.ticketPlace] = std::move(taken);
  return fine;
}

// Whoever was refused can send the same form again.
void Device::Settle(const Submission& work, const Outcome& outcome) {
  if (forms_ != nullptr && work.hasTicket && !outcome.IsSuccess()) forms_->GiveBack(work.ticket);
}

void Device::Run(const std::shared_ptr<Submission>& work, unsigned row) {
  const std::string name(work->keys.View(row, 0));
  const ModelKey& key = *model_.Find(name);
  const Action* const action = sources_.FindAction(key.action);
  // A word is told on a page; other values may be secrets.
  const bool isWord = key.type == ValueType::kEnumeration;
  std::string word(isWord ? work->values.View(row, 0) : std::string_view());
  const auto done = [this, work, row, name, word = std::move(word)](Outcome outcome) {
    Settle(*work, outcome);
    if (forms_ != nullptr && outcome.IsSuccess()) forms_->Note(name, word, work->ticketText);
    work->outcomes[work->places[row]] = std::move(outcome);
    work->done(work->outcomes);
  };
  if (action == nullptr) return done(Sentence::kNoDevice);
  (*action)(ActionRequest(work->keys, work->values, name, work->client, work->ticketText), done);
}

void Device::Store(const std::shared_ptr<Submission>& work, Storage::Batch batch) {
  Storage::Terms terms;
  if (work->hasTicket && forms_ != nullptr) {
    terms.origin = work->ticketText;
    terms.check = [this, work](Storage::Batch& stored, const Storage::Lookup& before) {
      return forms_->Merge(work->ticket, stored, before, work->moved);
    };
  }
  const auto done = [this, work](Outcome outcome) {
    Settle(*work, outcome);
    for (const std::string& key : work->moved) work->AddOutcome(key, Sentence::kChangedElsewhere);
    if (!work->moved.empty()) {
      work->outcomes[work->ticketPlace] = std::move(outcome);
    } else if (!outcome.IsSuccess()) {
      work->outcomes.push_back(std::move(outcome));
    }
    work->done(work->outcomes);
  };
  settings_.Store(std::move(batch), done, std::move(terms));
}

void Device::Set(const StringTable& keys, const StringTable& values, std::string_view client,
                 OutcomesTaker done) {
  const auto work = std::make_shared<Submission>();
  work->client = client;
  work->done = std::move(done);
  TakeApart(keys, values, *work);
  Storage::Batch batch;
  unsigned action = work->keys.Rows();
  if (!CheckEach(*work, batch, action)) {
    work->done(work->outcomes);
  } else if (action < work->keys.Rows()) {
    Run(work, action);
  } else {
    Store(work, std::move(batch));
  }
}
