// SPDX-License-Identifier: MIT
#include "sysmgr/log/Outcome.h"

#include <algorithm>

#include "base/Characters.h"
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
  name_ = name;
  return std::move(*this);
}

Outcome Outcome::AboutLine(std::size_t line) && {
  line_ = line;
  return std::move(*this);
}

std::string Outcome::Record() const {
  std::string about;
  const auto add = [&about](const std::string& what) {
    about += (about.empty() ? "" : ", ") + what;
  };
  if (!key_.empty()) add("key '" + key_.substr(0, Log::kMaxNameBytes) + "'");
  if (!name_.empty()) add("'" + name_.substr(0, Log::kMaxNameBytes) + "'");
  if (line_ != 0) add("line " + std::to_string(line_));
  std::string record = about.empty() ? text_ : about + ": " + text_;
  std::replace_if(
      record.begin(), record.end(), [](char byte) { return !IsAsciiPrintable(byte); }, '?');
  return record;
}
