// SPDX-License-Identifier: MIT
//
// Lookups by name.
#include "sysmgr/device/Sources.h"

#include <stdexcept>
#include <utility>

namespace {

template <typename Entry>
void Offer(std::map<std::string, Entry>& entries, const std::string& name, Entry entry) {
  if (!entries.emplace(name, std::move(entry)).second) {
    throw std::logic_error("'" + name + "' is offered twice");
  }
}

template <typename Entry>
const Entry* FindIn(const std::map<std::string, Entry>& entries, const std::string& name) {
  const auto found = entries.find(name);
  return found == entries.end() ? nullptr : &found->second;
}

}  // namespace

const std::string* Question::Selector(std::string_view name) const {
  const std::string* value = nullptr;
  for (const Config::Key::Pair& selector : key.Selectors()) {
    if (selector.name == name) value = &selector.value;
  }
  return value;
}

std::string_view ActionRequest::Find(std::string_view key) const {
  for (unsigned row = 0; row < keys_.Rows(); ++row) {
    if (keys_.View(row, 0) == key) return values_.View(row, 0);
  }
  return std::string_view();
}

std::string_view ActionRequest::Parameter(std::string_view name) const {
  return Find(std::string(name_).append(".").append(name));
}

StringTable ActionRequest::Parameters() const {
  StringTable table(2);
  for (unsigned row = 0; row < keys_.Rows(); ++row) {
    const std::string_view key = keys_.View(row, 0);
    if (key != name_) table.AddCells({key.substr(key.rfind('.') + 1), values_.View(row, 0)});
  }
  return table;
}

KeptRequest::KeptRequest(const ActionRequest& request)
    : keys_(request.keys_),
      values_(request.values_),
      name_(request.name_),
      client_(request.client_),
      ticket_(request.ticket_) {}

void Sources::OfferValue(const std::string& name, ValueSource source) {
  Offer(values_, name, std::move(source));
}

void Sources::OfferTable(const std::string& name, TableSource source) {
  Offer(tables_, name, std::move(source));
}

void Sources::OfferAction(const std::string& name, Action action) {
  Offer(actions_, name, std::move(action));
}

void Sources::OfferText(const std::string& name, std::function<std::string()> text) {
  OfferValue(name, {[text = std::move(text)](const Question&) { return LiveValue{text()}; }});
}

void Sources::Withdraw(const std::string& name) {
  values_.erase(name);
  tables_.erase(name);
  actions_.erase(name);
}

bool Sources::Has(const std::string& name) const {
  return values_.count(name) + tables_.count(name) + actions_.count(name) > 0;
}

const ValueSource* Sources::FindValue(const std::string& name) const {
  return FindIn(values_, name);
}

const TableSource* Sources::FindTable(const std::string& name) const {
  return FindIn(tables_, name);
}

const Action* Sources::FindAction(const std::string& name) const {
  return FindIn(actions_, name);
}
