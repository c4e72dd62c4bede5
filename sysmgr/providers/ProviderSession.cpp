// SPDX-License-Identifier: MIT
//
// A handler returns why the provider has to go, "" when it may stay. Whatever a provider sends is
// looked at as the word of a stranger.
#include "sysmgr/providers/ProviderSession.h"

#include <algorithm>
#include <new>

#include "base/Characters.h"
#include "base/Utf8.h"
#include "sysmgr/log/Log.h"

namespace {

using Fields = ProviderLink::Fields;

constexpr const char* kVersion = "1";

}  // namespace

const ProviderSession::Message ProviderSession::kMessages[] = {
    {"hello", 3, &ProviderSession::Hello},     {"offer", 6, &ProviderSession::TakeOffer},
    {"push", 3, &ProviderSession::Push},       {"answer", 4, &ProviderSession::Answer},
    {"done", 3, &ProviderSession::Done},       {"subscribe", 2, &ProviderSession::Subscribe},
    {"applied", 2, &ProviderSession::Applied}, {"keep", 2, &ProviderSession::Keep},
    {"event", 2, &ProviderSession::Event},     {"event", 3, &ProviderSession::Event},
    {"pong", 1, &ProviderSession::Pong},
};

bool ProviderSession::IsName(std::string_view text) {
  return !text.empty() && text.size() <= kMaxNameBytes &&
         std::all_of(text.begin(), text.end(), [](char byte) {
           return IsAsciiAlphanumeric(byte) || byte == '-' || byte == '_';
         });
}

StringTable ProviderSession::ReadTable(std::string_view text) {
  return {std::string(text), StringTable::kSerialized};
}

ProviderSession::ProviderSession(const ProviderWorld& world, ProviderLink::Owner& owner,
                                 Descriptor descriptor, const ProviderPatience& patience,
                                 IsTaken isTaken)
    : world_(world),
      patience_(patience),
      isTaken_(std::move(isTaken)),
      self_(std::make_shared<ProviderSession*>(this)),
      link_(owner, world.loop.Base(), std::move(descriptor), patience) {}

ProviderSession::~ProviderSession() {
  *self_ = nullptr;
  for (const auto& [source, offer] : offers_) world_.sources.Withdraw(source);
  // Whoever is told may begin something new, but not with us.
  const std::map<std::string, Open> open = std::move(open_);
  for (const auto& [id, one] : open) {
    if (one.answer) one.answer({nullptr, Sentence::kNoDevice});
    if (one.outcome) one.outcome(Sentence::kNoDevice);
  }
}

std::string ProviderSession::Handle(const Fields& fields) {
  bool isKnown = false;
  for (const Message& message : kMessages) {
    if (message.kind != fields[0]) continue;
    isKnown = true;
    if (message.fields != fields.size()) continue;
    const bool isHello = message.handler == &ProviderSession::Hello;
    if (isHello != name_.empty()) return "it does not begin with one hello";
    return (this->*message.handler)(fields);
  }
  return isKnown ? "its message has the wrong number of fields" : "it sends an unknown message";
}

std::string ProviderSession::Hello(const Fields& fields) {
  if (fields[1] != kVersion) return "it speaks another version of the protocol";
  if (!IsName(fields[2])) return "its name is not one";
  if (isTaken_(fields[2])) return "another provider has its name";
  name_ = fields[2];
  Log::Write("provider '" + name_ + "' is here");
  SendWelcome();
  return "";
}

void ProviderSession::SendWelcome() {
  kept_ = world_.settings.OwnOf(name_);
  StringTable kept(2);
  for (const auto& [name, value] : kept_) kept.AddCells({name, value});
  link_.Send({"welcome", kept.Serialize(), world_.firmware()});
}

std::string ProviderSession::Subscribe(const Fields& fields) {
  if (prefixes_.size() >= kMaxNames) return "it subscribes too often";
  prefixes_.emplace_back(fields[1]);
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.IsSetting() && IsBelow(fields[1], key.name)) changed_.insert(key.name);
  }
  SendSettings();
  return "";
}

bool ProviderSession::IsBelow(std::string_view prefix, std::string_view key) {
  return prefix.empty() || (key.substr(0, prefix.size()) == prefix &&
                            (key.size() == prefix.size() || key[prefix.size()] == '.'));
}

void ProviderSession::OnChange(const std::vector<std::string>& keys) {
  for (const std::string& key : keys) {
    if (std::any_of(prefixes_.begin(), prefixes_.end(),
                    [&key](const std::string& prefix) { return IsBelow(prefix, key); })) {
      changed_.insert(key);
    }
  }
  if (!changed_.empty()) SendSettings();
}

void ProviderSession::OnReset() {
  if (name_.empty()) return;
  SendWelcome();
  std::vector<std::string> settings;
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.IsSetting()) settings.push_back(key.name);
  }
  OnChange(settings);
}

// One message at a time: what changes meanwhile goes into the next one.
void ProviderSession::SendSettings() {
  if (applying_ != nullptr) return;
  StringTable table(2);
  for (const std::string& key : changed_) table.AddCells({key, world_.settings.Get(key)});
  changed_.clear();
  applyingId_ = std::to_string(++lastId_);
  const timeval time = TimeOf(patience_.applying);
  applying_.reset(evtimer_new(world_.loop.Base(), OnLate, &link_));
  if (applying_ == nullptr) throw std::bad_alloc();
  AddEvent(applying_, &time);
  link_.Send({"settings", applyingId_, table.Serialize()});
}

std::string ProviderSession::Applied(const Fields& fields) {
  if (applying_ == nullptr || fields[1] != applyingId_) return "it has applied nothing of ours";
  applying_.reset();
  if (!hasApplied_) Log::Write("provider '" + name_ + "' has put the settings in force");
  hasApplied_ = true;
  if (!changed_.empty()) SendSettings();
  return "";
}

std::string ProviderSession::Keep(const Fields& fields) {
  const StringTable table = ReadTable(fields[1]);
  if (table.Columns() != 2) return "it keeps nonsense";
  if (keeping_ >= kMaxKeeping) return "it keeps too much at once";
  std::map<std::string, std::string> kept = kept_;
  std::vector<std::pair<std::string, std::string>> texts;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    const std::string name(table.View(row, 0));
    const std::string_view value = table.View(row, 1);
    if (name.empty() || name.size() > kMaxNameBytes || value.size() > kMaxKeptBytes ||
        !Utf8::IsSafe(name)) {
      return "it keeps nonsense";
    }
    kept[name] = value;
    texts.emplace_back(name, value);
  }
  const bool areTooMany = kept.size() > kMaxKept;
  if (areTooMany) {
    texts.clear();  // its answer still comes after those to earlier messages
  } else {
    kept_ = std::move(kept);
  }
  ++keeping_;
  world_.settings.StoreOwnOf(name_, texts, [self = self_, areTooMany](const Outcome& outcome) {
    if (*self != nullptr) (*self)->OnKept(areTooMany ? "there are too many texts" : outcome.Text());
  });
  return "";
}

void ProviderSession::OnKept(const std::string& reason) {
  --keeping_;
  if (keeping_ == 0) kept_ = world_.settings.OwnOf(name_);
  link_.Send({"kept", reason});
}

std::string ProviderSession::Event(const Fields& fields) {
  const std::int64_t now = world_.steady();
  if (now - eventsSince_ >= kEventSeconds) {
    eventsSince_ = now;
    events_ = 0;
  }
  if (++events_ <= kMaxEvents) {
    world_.log.AddTold(fields[1], fields.size() > 2 ? fields[2] : "");
  } else if (events_ == kMaxEvents + 1) {
    Log::Write("provider '" + name_ + "' has too many events: the next ones are dropped",
               Log::Priority::kWarning);
  }
  return "";
}

std::string ProviderSession::Pong(const Fields&) {
  return "";
}
