// SPDX-License-Identifier: MIT
//
// Answers queries, stores settings and carries out actions: it connects the model's keys with live
// values and stored settings. It doesn't know sockets, and of clients only their names.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/StringTable.h"
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
  // from all clients. The largest table has 21 KiB, and no page asks for all tables.
  static constexpr std::size_t kMaxLiveBytes = std::size_t{1} << 20;

  // The most keys in a query that make a file for the client. A download asks for one file, and
  // there is little room for files (HandoverFolder).
  static constexpr std::size_t kMaxFilesPerQuery = 1;

  // Both must outlive the device. Throws StartFailure when the model names a source, column or
  // action that no part offers.
  Device(Settings& settings, const Sources& sources);

  // Answers a table of keys. When one of them can't be answered, the outcome is about that key and
  // `answer` is unspecified.
  Outcome Query(const StringTable& keys, std::string_view client, StringTable& answer);

  // Stores a batch, all or nothing, or carries out an action with its parameters. Returns an
  // outcome for each key and, when the settings don't fit together or can't be stored, one more.
  // The outcome of an action is that of its key. Values missing in `values` are empty.
  std::vector<Outcome> Set(const StringTable& keys, const StringTable& values,
                           std::string_view client);

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
    std::size_t BytesFrom(std::size_t first) const;
    StringTable MakeTable() const;
  };

  Outcome Collect(const StringTable& keys, std::string_view client, Collection& collection);
  void CheckSource(const ModelKey& key) const;
  Outcome AppendKey(std::string_view text, std::string_view client, Collection& collection);
  Outcome AppendLive(const ModelKey& definition, const Question& question, bool joined,
                     Collection& collection);
  Outcome AppendTable(const ModelKey& definition, const Question& question, Collection& collection);
  Outcome AppendValue(const ModelKey& definition, const Question& question, Collection& collection);
  Outcome CheckCompany(std::string_view name, const StringTable& keys) const;
  Outcome Run(const StringTable& keys, const StringTable& values, unsigned row,
              std::string_view client);

  const Model& model_;
  Settings& settings_;
  const Sources& sources_;
};
