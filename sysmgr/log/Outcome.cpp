// SPDX-License-Identifier: MIT
#include "sysmgr/log/Outcome.h"

#include "sysmgr/log/Log.h"

Outcome Outcome::InWordsOfTheModel(std::string text) {
  Outcome outcome;
  outcome.text_ = std::move(text);
  outcome.kind_ = OutcomeKind::kInvalid;
  return outcome;
}

Outcome Outcome::AboutKey(std::string_view key) && {
  key_ = key;
  return std::move(*this);
}

Outcome Outcome::AboutName(std::string_view name) && {
  name_ = name.substr(0, Log::kMaxNameBytes);
  return std::move(*this);
}

Outcome Outcome::AboutLine(std::size_t line) && {
  line_ = line;
  return std::move(*this);
}

std::string Outcome::Record() const {
  std::string about;
  if (!key_.empty()) about = "key '" + key_ + "'";
  if (!name_.empty()) about += (about.empty() ? "'" : ", '") + name_ + "'";
  return about.empty() ? text_ : about + ": " + text_;
}
