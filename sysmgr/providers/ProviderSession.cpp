// SPDX-License-Identifier: MIT
//
// A handler returns why the provider has to go, "" when it may stay. Whatever a provider sends is
// looked at as the word of a stranger.
#include "sysmgr/providers/ProviderSession.h"

#include <algorithm>
#include <stdexcept>

#include "base/Characters.h"
#include "base/Utf8.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

using Fields = ProviderLink::Fields;

constexpr const char* kVersion = "1";

bool IsName(std::string_view text) {
  return !text.empty() && text.size() <= ProviderSession::kMaxNameBytes &&
         std::all_of(text.begin(), text.end(), [](char byte) {
           return IsAsciiAlphanumeric(byte) || byte == '-' || byte == '_';
         });
}

StringTable ReadTable(std::string_view text) {
  return {std::string(text), StringTable::kSerialized};
}

// The names in a table of one column; the empty text holds none. False when it is another table, or
// holds what is no name, or too many.
bool ReadNames(std::string_view text, std::vector<std::string>& names) {
  if (text.empty()) return true;
  const StringTable table = ReadTable(text);
  if (table.Columns() != 1 || table.Rows() > ProviderSession::kMaxNames) return false;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    if (!IsName(table.View(row, 0))) return false;
    names.emplace_back(table.View(row, 0));
  }
  return true;
}

// Those of the pairs that have a known name; the last one of each name.
std::string Pairs(const std::vector<Config::Key::Pair>& pairs,
                  const std::vector<std::string>& known) {
  StringTable table(2);
  for (auto pair = pairs.begin(); pair != pairs.end(); ++pair) {
    const auto hasItsName = [&pair](const auto& other) { return other.name == pair->name; };
    if (std::find(known.begin(), known.end(), pair->name) != known.end() &&
        std::none_of(pair + 1, pairs.end(), hasItsName)) {
      table.AddCells({pair->name, pair->value});
    }
  }
  return table.Serialize();
}

// What a page can show of a device's sentence.
std::string Plain(std::string_view text) {
  std::string plain;
  Utf8::AppendSafe(plain, text.substr(0, ProviderSession::kMaxSentenceBytes));
  const auto isMarkup = [](char byte) {
    return std::string_view("<>&\"'").find(byte) != std::string_view::npos;
  };
  plain.erase(std::remove_if(plain.begin(), plain.end(), isMarkup), plain.end());
  return plain;
}

}  // namespace

const ProviderSession::Message ProviderSession::kMessages[] = {
    {"hello", 3, &ProviderSession::Hello},     {"offer", 6, &ProviderSession::TakeOffer},
    {"push", 3, &ProviderSession::Push},       {"answer", 4, &ProviderSession::Answer},
    {"done", 3, &ProviderSession::Done},       {"subscribe", 2, &ProviderSession::Subscribe},
    {"applied", 2, &ProviderSession::Applied}, {"keep", 2, &ProviderSession::Keep},
    {"event", 2, &ProviderSession::Event},     {"event", 3, &ProviderSession::Event},
    {"pong", 1, &ProviderSession::Pong},
};

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

std::string ProviderSession::TakeOffer(const Fields& fields) {
  static constexpr std::pair<std::string_view, Kind> kKinds[] = {{"value", Kind::kValue},
                                                                 {"table", Kind::kTable},
                                                                 {"file", Kind::kFile},
                                                                 {"action", Kind::kAction}};
  const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const auto& row) { return row.first == fields[1]; });
  if (kind == std::end(kKinds) || !IsName(fields[2])) return "it offers nonsense";
  Offer offer;
  offer.kind = kind->second;
  offer.isPushed = fields[3] == "pushed";
  const bool mayBePushed = offer.kind == Kind::kValue || offer.kind == Kind::kTable;
  const std::string_view asked = offer.kind == Kind::kAction ? "" : "asked";
  if (offer.isPushed ? !mayBePushed : fields[3] != asked) return "it offers nonsense";
  if (!ReadNames(fields[4], offer.names) || !ReadNames(fields[5], offer.options)) {
    return "it offers nonsense";
  }
  const std::string source(fields[2]);
  const std::string refusal = RefusalOf(source, offer);
  if (refusal.empty()) {
    Register(source, offer);
    offers_.emplace(source, std::move(offer));
  } else {
    Log::Write("provider '" + name_ + "' offers '" + source + "': " + refusal,
               Log::Priority::kWarning);
  }
  link_.Send({"offered", source, refusal});
  return "";
}

// "" when the offer can be accepted.
std::string ProviderSession::RefusalOf(const std::string& source, const Offer& offer) const {
  if (offers_.size() >= kMaxOffers) return "there are too many offers";
  if (world_.sources.Has(source)) return "this name is offered already";
  if (offer.isPushed && offer.kind == Kind::kValue && !offer.names.empty()) {
    return "a pushed value takes no selectors";
  }
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.access == Access::kAction && key.action == source && offer.kind != Kind::kAction) {
      return "the model has an action of that name";
    }
    if (key.source != source) continue;
    if (offer.kind == Kind::kAction) return "the model has a source of that name";
    if ((key.type == ValueType::kTable) != (offer.kind == Kind::kTable)) {
      return key.type == ValueType::kTable ? "the model has it as a table"
                                           : "the model has it as a single value";
    }
    for (const ModelColumn& column : key.columns) {
      if (std::find(offer.names.begin(), offer.names.end(), column.name) == offer.names.end()) {
        return "it lacks the column " + column.name;
      }
    }
  }
  return "";
}

void ProviderSession::Register(const std::string& source, const Offer& offer) {
  const auto ask = [this, source](const Question& question, AnswerTaker taker) {
    Ask(source, question, std::move(taker));
  };
  const auto pushed = [this, source] { return offers_.at(source).rows; };
  switch (offer.kind) {
    case Kind::kAction:
      world_.sources.OfferAction(source,
                                 [this, source](const ActionRequest& request, OutcomeTaker taker) {
                                   Act(source, request, std::move(taker));
                                 });
      break;
    case Kind::kTable: {
      TableSource table;
      table.columns = offer.names;
      table.options = offer.options;
      if (offer.isPushed) {
        table.rows = [pushed](const Question&) { return pushed(); };
      } else {
        table.ask = ask;
      }
      world_.sources.OfferTable(source, std::move(table));
      break;
    }
    default: {
      ValueSource value;
      value.selectors = offer.names;
      value.options = offer.options;
      value.makesFile = offer.kind == Kind::kFile;
      if (offer.isPushed) {
        value.value = [pushed](const Question&) -> LiveValue {
          const LiveRows rows = pushed();
          if (rows == nullptr) return {"", Sentence::kNoValueYet};
          return {rows->front().front()};
        };
      } else {
        value.ask = ask;
      }
      world_.sources.OfferValue(source, std::move(value));
    }
  }
}

// False when the text is no table of the offer's shape, or a value that the model rules out.
bool ProviderSession::ReadRows(const Offer& offer, std::string_view text, LiveRows& rows,
                               std::size_t& bytes) const {
  const StringTable table = ReadTable(text);
  const bool isTable = offer.kind == Kind::kTable;
  if (table.Columns() != (isTable ? offer.names.size() : 1)) return false;
  if (!isTable && table.Rows() != 1) return false;
  auto made = std::make_shared<std::vector<LiveRow>>(table.Rows(), LiveRow(table.Columns()));
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      std::string& cell = (*made)[row][column];
      if (offer.kind == Kind::kFile) {
        cell = table.View(row, column);
      } else {
        Utf8::AppendSafe(cell, table.View(row, column));
      }
      bytes += sizeof(std::string) + cell.size();
    }
  }
  rows = std::move(made);
  return true;
}

std::string ProviderSession::Push(const Fields& fields) {
  const auto found = offers_.find(std::string(fields[1]));
  if (found == offers_.end() || !found->second.isPushed) return "it pushes what it has not offered";
  Offer& offer = found->second;
  LiveRows rows;
  std::size_t bytes = 0;
  if (!ReadRows(offer, fields[2], rows, bytes)) return "it pushes another shape than it offered";
  if (offer.kind == Kind::kValue && !FitsModel(found->first, rows->front().front())) {
    return "it pushes a value that the model rules out";
  }
  pushedBytes_ += bytes - offer.bytes;
  offer.bytes = bytes;
  offer.rows = std::move(rows);
  return pushedBytes_ > kMaxPushedBytes ? "it pushes too much" : "";
}

// Whether every key of that source may have the value.
bool ProviderSession::FitsModel(const std::string& source, const std::string& value) const {
  const auto& keys = world_.settings.Definitions().Keys();
  return std::all_of(keys.begin(), keys.end(), [&](const ModelKey& key) {
    return key.source != source || key.type == ValueType::kTable ||
           CheckValue(key, value).IsSuccess();
  });
}

void ProviderSession::Ask(const std::string& source, const Question& question, AnswerTaker taker) {
  const Offer& offer = offers_.at(source);
  const std::string id = std::to_string(++lastId_);
  if (!Await(id, {source, std::move(taker), nullptr}, patience_.reply)) return;
  const std::vector<std::string> none;
  link_.Send({"ask", id, source,
              Pairs(question.key.Selectors(), offer.kind == Kind::kTable ? none : offer.names),
              Pairs(question.key.Options(), offer.options), question.client});
}

void ProviderSession::Act(const std::string& action, const ActionRequest& request,
                          OutcomeTaker taker) {
  const std::string id = std::to_string(++lastId_);
  if (!Await(id, {action, nullptr, std::move(taker)}, patience_.action)) return;
  link_.Send(
      {"act", id, action, request.Value(), request.Parameters().Serialize(), request.Client()});
}

// Waits for an answer. False when there are too many already; the one who asks has been told then.
bool ProviderSession::Await(const std::string& id, Open one, int milliseconds) {
  if (open_.size() >= kMaxOpen) {
    if (one.answer) one.answer({nullptr, Sentence::kDeviceBusy});
    if (one.outcome) one.outcome(Sentence::kDeviceBusy);
    return false;
  }
  Open& open = open_.emplace(id, std::move(one)).first->second;
  const timeval time = TimeOf(milliseconds);
  open.deadline.reset(evtimer_new(world_.loop.Base(), OnLate, &link_));
  if (open.deadline == nullptr) throw std::bad_alloc();
  AddEvent(open.deadline, &time);
  return true;
}

void ProviderSession::OnLate(int, short, void* link) {
  static_cast<ProviderLink*>(link)->End("it does not answer in time");
}

// Takes what was waited for under that id off the list. False when there is no such thing, or it
// waits for a message of the other kind.
bool ProviderSession::TakeOpen(std::string_view id, bool isAction, Open& one) {
  const auto found = open_.find(std::string(id));
  if (found == open_.end() || (found->second.outcome != nullptr) != isAction) return false;
  one = std::move(found->second);
  open_.erase(found);
  return true;
}

std::string ProviderSession::Answer(const Fields& fields) {
  Open one;
  if (!TakeOpen(fields[1], false, one)) return "it answers what it was not asked";
  const Offer& offer = offers_.at(one.source);
  if (fields[2] == "none") {
    Log::WriteAboutClient("provider '" + name_ + "' has no '" + one.source +
                          "': " + std::string(fields[3].substr(0, Log::kMaxNameBytes)));
    one.answer({nullptr, Sentence::kNoValue});
    return "";
  }
  LiveRows rows;
  std::size_t bytes = 0;
  std::string why;
  if (fields[2] != "value" || !ReadRows(offer, fields[3], rows, bytes)) {
    why = "it answers in another shape than it offered";
  } else if (offer.kind == Kind::kValue && !FitsModel(one.source, rows->front().front())) {
    why = "it answers a value that the model rules out";
  }
  if (!why.empty()) {
    one.answer({nullptr, Sentence::kNoDevice});
    return why;
  }
  if (offer.kind == Kind::kFile) {
    std::string path;
    const Outcome made = world_.files.Put(one.source + "-", ".bin", rows->front().front(), path);
    if (!made.IsSuccess()) {
      one.answer({nullptr, made});
      return "";
    }
    rows = std::make_shared<std::vector<LiveRow>>(1, LiveRow{path});
    one.answer({std::move(rows), {}, std::move(path)});
    return "";
  }
  one.answer({std::move(rows)});
  return "";
}

// A sentence that the model does not list could not be translated.
std::string ProviderSession::Done(const Fields& fields) {
  Open one;
  if (!TakeOpen(fields[1], true, one)) return "it has done what it was not told";
  if (fields[2].empty()) {
    one.outcome({});
    return "";
  }
  const std::string sentence = Plain(fields[2]);
  // What could not be kept is told in the service's own words.
  for (const std::string& own : Sentences::OfTopic(Topic::kSetting)) {
    if (sentence == own) {
      one.outcome(Outcome::InWordsOfTheModel(sentence));
      return "";
    }
  }
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.access != Access::kAction || key.action != one.source) continue;
    if (std::find(key.refusals.begin(), key.refusals.end(), sentence) != key.refusals.end()) {
      one.outcome(Outcome::InWordsOfTheModel(sentence));
      return "";
    }
  }
  Log::WriteAboutClient("provider '" + name_ + "' refuses '" + one.source +
                        "' in words that the model lacks: " + sentence);
  one.outcome(Sentence::kDeviceRefuses);
  return "";
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
