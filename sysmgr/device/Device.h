// SPDX-License-Identifier: MIT
//
// Answers queries, stores settings and carries out actions: it connects the model's keys with live
// values and stored settings. It doesn't know sockets, and of clients only their names.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/StringTable.h"
#include "sysmgr/device/Forms.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/model/Model.h"

class Device {
 public:
  // More keys than any page has; bounds the time that a query takes from other clients.
  static constexpr unsigned kMaxKeysPerRequest = 4096;

  // The largest serialised answer, without its frame in a message. Checked while the answer grows,
  // not only at its end.
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;

  // The most bytes of live values in an answer. They are made anew for each key, which takes time
  // from all clients. The largest table of every day has 80 KiB, a full history 700.
  static constexpr std::size_t kMaxLiveBytes = std::size_t{1} << 20;

  // The most bytes of tables that all clients' connections keep for further queries, see Tables.
  static constexpr std::size_t kMaxKeptBytes = std::size_t{1} << 20;

  // The most keys in a query that make a file for the client. A page asks for a few files, and
  // there is little room for files (HandoverFolder).
  static constexpr std::size_t kMaxFilesPerQuery = 8;

  // The most that is read of a file that is the source of a key; /sys has no longer lines.
  static constexpr std::size_t kMaxFileLineBytes = 4096;

  // What providers have answered to the keys of a query, by row.
  using Answers = std::map<unsigned, LiveAnswer>;

  // Tables of providers that a client's queries share if they say so (the option "measured"), so
  // that a page which asks for the good ones and then for the weak ones sees each row once.
  using Tables = std::map<std::string, LiveAnswer>;

  // All must outlive the device. Without forms, a model's tickets are not known.
  Device(Settings& settings, const Sources& sources, Forms* forms = nullptr)
      : model_(settings.Definitions()), settings_(settings), sources_(sources), forms_(forms) {}

  // Answers a table of keys with a serialised table. When one of them can't be answered, the
  // outcome is about that key and `answer` is unspecified. It is also unspecified when `missing`
  // has rows afterwards: call Ask for each of these keys, and then Query again with the answers.
  Outcome Query(const StringTable& keys, std::string_view client, const Answers& answers,
                std::string& answer, std::vector<unsigned>& missing);

  // Asks providers for the keys that Query has found missing, unless they are in tables that are
  // known already, and calls `done` once, perhaps from within, when all have answered. Keys,
  // answers and tables must stay until then.
  void Ask(const StringTable& keys, std::string_view client, const std::vector<unsigned>& missing,
           Answers& answers, Tables& known, const std::function<void()>& done) const;

  // Takes values in any form that NormalForm understands. Stores a batch, all or nothing, or
  // carries out an action with its parameters. Then calls `done` once, perhaps later, with an
  // outcome for each key and, when the settings don't fit together or can't be stored, one more.
  // The outcome of an action is that of its key. Values missing in `values` are empty.
  using OutcomesTaker = std::function<void(const std::vector<Outcome>&)>;
  void Set(const StringTable& keys, const StringTable& values, std::string_view client,
           OutcomesTaker done);

 private:
  // Cells, column by column, and the texts that they point to.
  struct Collection {
    std::vector<std::vector<std::string_view>> columns;
    std::deque<std::string> texts;
    std::vector<LiveRows> rows;
    std::vector<std::string> files;  // the paths of the files made
    std::size_t liveBytes = 0;

    void AddText(std::string text);
    // Makes a cell of a live table safe for pages and XML, because strangers choose the names of
    // stations.
    std::string_view MakeSafe(std::string_view cell);
    void JoinFrom(std::size_t first);
    void CountFrom(std::size_t first);
    std::size_t BytesFrom(std::size_t first) const;
    std::string Serialize() const;
  };

  // One key of a query.
  struct Item {
    const ModelKey& definition;
    const Question& question;
    const LiveAnswer* answer;  // null when no provider has been asked
  };

  Outcome Collect(const StringTable& keys, std::string_view client, const Answers& answers,
                  Collection& collection, std::vector<unsigned>& missing);
  Outcome AppendKey(std::string_view text, std::string_view client, const LiveAnswer* answer,
                    Collection& collection, bool& isMissing);
  // What the option "format" asks for: all cells, all in one, or the number of rows.
  enum class Format { kTable, kScalar, kCount };

  Outcome AppendLive(const Item& item, Format format, Collection& collection, bool& isMissing);
  Outcome AppendTable(const Item& item, Collection& collection, bool& isMissing);
  Outcome AppendValue(const Item& item, Collection& collection, bool& isMissing);
  Outcome CheckOptions(const Config::Key::Key& key, const std::vector<std::string>& known,
                       bool isTable, Format& format) const;
  Outcome AppendFile(const ModelKey& definition, const Config::Key::Key& key,
                     Collection& collection) const;
  const std::vector<std::string>& OptionsOf(const ModelKey& definition) const;
  void Keep(const std::string& name, const LiveAnswer& answer, Tables& known) const;
  std::string KnownNameOf(std::string_view key, std::string_view client) const;
  void AskOne(std::string_view key, std::string_view client, AnswerTaker taker) const;

  // Of a set, in DeviceSet.cpp.
  struct Submission;
  Outcome CheckCompany(std::string_view name, const StringTable& keys) const;
  void TakeApart(const StringTable& keys, const StringTable& values, Submission& work) const;
  bool CheckEach(Submission& work, Storage::Batch& batch, unsigned& action) const;
  void Settle(const Submission& work, const Outcome& outcome);
  void Run(const std::shared_ptr<Submission>& work, unsigned row);
  void Store(const std::shared_ptr<Submission>& work, Storage::Batch batch);

  const Model& model_;
  Settings& settings_;
  const Sources& sources_;
  Forms* forms_;
  // Shared with the rows, which connections may keep for longer than the device exists.
  std::shared_ptr<std::size_t> keptBytes_ = std::make_shared<std::size_t>();
};
