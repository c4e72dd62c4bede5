// SPDX-License-Identifier: MIT
//
// One provider from its hello to its end: what it offers, what it has pushed, what it is asked and
// told. docs/provider.md describes the messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Descriptor.h"
#include "platform/StringTable.h"
#include "sysmgr/device/EventLog.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/files/HandoverFolder.h"
#include "sysmgr/loop/EventLoop.h"
#include "sysmgr/providers/ProviderLink.h"

// What providers work on; all of it must outlive them.
struct ProviderWorld {
  EventLoop& loop;
  Sources& sources;
  Settings& settings;
  HandoverFolder& files;
  EventLog& log;
  std::function<std::string()> firmware;  // the version that runs
  std::function<std::int64_t()> steady;   // seconds; never runs backwards
};

class ProviderSession {
 public:
  static constexpr std::size_t kMaxNameBytes = 63;
  static constexpr std::size_t kMaxOffers = 256;
  static constexpr std::size_t kMaxNames = 64;  // selectors, options or columns of an offer
  static constexpr std::size_t kMaxKept = 256;  // texts
  static constexpr std::size_t kMaxKeptBytes = 1024;
  static constexpr std::size_t kMaxKeeping = 64;  // messages whose texts are not on the disk yet
  static constexpr std::size_t kMaxSentenceBytes = 400;

  // Everything pushed that is in force.
  static constexpr std::size_t kMaxPushedBytes = std::size_t{4} << 20;

  // Questions and tasks without an answer; more are refused at once.
  static constexpr std::size_t kMaxOpen = 256;

  // Lines for the device's log in kEventSeconds; more are dropped.
  static constexpr unsigned kMaxEvents = 30;
  static constexpr std::int64_t kEventSeconds = 60;

  // Whether another provider goes by that name.
  using IsTaken = std::function<bool(std::string_view name)>;

  ProviderSession(const ProviderWorld& world, ProviderLink::Owner& owner, Descriptor descriptor,
                  const ProviderPatience& patience, IsTaken isTaken);
  // Its offers are gone; whoever waits for it is told so.
  ~ProviderSession();
  ProviderSession(const ProviderSession&) = delete;
  ProviderSession& operator=(const ProviderSession&) = delete;

  bool Has(const ProviderLink& link) const { return &link == &link_; }
  const std::string& Name() const { return name_; }  // "" before its hello

  // See ProviderLink::Owner.
  std::string Handle(const ProviderLink::Fields& fields);

  void OnChange(const std::vector<std::string>& keys);
  void OnReset();

  // Whether it has been told settings that it has not yet put in force.
  bool IsApplying() const { return applying_ != nullptr; }

 private:
  enum class Kind { kValue, kTable, kFile, kAction };

  struct Offer {
    Kind kind;
    bool isPushed;
    std::vector<std::string> names;  // columns of a table, else selectors
    std::vector<std::string> options;
    LiveRows rows;          // pushed; null before
    std::size_t bytes = 0;  // of the rows
  };

  // What is waited for: exactly one of the two takes it.
  struct Open {
    std::string source;
    AnswerTaker answer;
    OutcomeTaker outcome;
    EventPointer deadline = nullptr;
  };

  using Handler = std::string (ProviderSession::*)(const ProviderLink::Fields&);
  struct Message {
    std::string_view kind;
    std::size_t fields;
    Handler handler;
  };
  static const Message kMessages[];

  static void OnLate(int descriptor, short what, void* link);
  static bool IsName(std::string_view text);
  static StringTable ReadTable(std::string_view text);
  // The names in a table of one column; the empty text holds none. False when it is another table,
  // or holds what is no name, or too many.
  static bool ReadNames(std::string_view text, std::vector<std::string>& names);
  static bool IsBelow(std::string_view prefix, std::string_view key);

  std::string Hello(const ProviderLink::Fields& fields);
  std::string TakeOffer(const ProviderLink::Fields& fields);
  std::string Push(const ProviderLink::Fields& fields);
  std::string Answer(const ProviderLink::Fields& fields);
  std::string Done(const ProviderLink::Fields& fields);
  std::string Subscribe(const ProviderLink::Fields& fields);
  std::string Applied(const ProviderLink::Fields& fields);
  std::string Keep(const ProviderLink::Fields& fields);
  std::string Event(const ProviderLink::Fields& fields);
  std::string Pong(const ProviderLink::Fields& fields);

  std::string RefusalOf(const std::string& source, const Offer& offer) const;
  void Register(const std::string& source, const Offer& offer);
  bool ReadRows(const Offer& offer, std::string_view text, LiveRows& rows,
                std::size_t& bytes) const;
  bool FitsModel(const std::string& source, const std::string& value) const;
  void Ask(const std::string& source, const Question& question, AnswerTaker taker);
  void Act(const std::string& action, const ActionRequest& request, OutcomeTaker taker);
  bool Await(const std::string& id, Open one, int milliseconds);
  bool TakeOpen(std::string_view id, bool isAction, Open& one);
  void SendWelcome();
  void OnKept(const std::string& reason);
  void SendSettings();

  ProviderWorld world_;
  ProviderPatience patience_;
  IsTaken isTaken_;
  std::string name_;
  std::map<std::string, Offer> offers_;
  std::size_t pushedBytes_ = 0;
  std::map<std::string, Open> open_;  // by id
  std::uint64_t lastId_ = 0;
  std::map<std::string, std::string> kept_;  // with what is not on the disk yet
  std::size_t keeping_ = 0;
  std::shared_ptr<ProviderSession*> self_;  // for what comes from the disk; null once we are gone
  std::vector<std::string> prefixes_;
  std::set<std::string> changed_;  // settings that it has not been told yet
  std::string applyingId_;         // of the settings that it is applying
  EventPointer applying_;          // their deadline; null while it applies none
  bool hasApplied_ = false;        // settings, once
  unsigned events_ = 0;
  std::int64_t eventsSince_ = 0;
  ProviderLink link_;  // the last, because it may call back
};
