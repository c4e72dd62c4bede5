// SPDX-License-Identifier: MIT
//
// Answers queries, stores settings and has actions carried out: the model's keys over live values
// and stored settings. It knows nothing of sockets and clients but their names.
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
  // More keys than any page has; bounds the time that one query can take from the others.
  static constexpr unsigned kMaxKeysPerRequest = 4096;

  // Largest serialised answer, before what frames it in a message. Held while the answer grows, not
  // only at its end.
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;

  // What live values may be of it. They are made for each key anew, in the time of all clients; the
  // largest table has 21 KiB, and no page asks for all of them.
  static constexpr std::size_t kMaxLiveBytes = std::size_t{1} << 20;

  // Keys in one query that make a file for the asker. Who downloads asks for one, and there is
  // little room for files (HandoverFolder).
  static constexpr std::size_t kMaxFilesPerQuery = 1;

  // Both must outlive the device. Throws StartFailure when the model names a source, column or
  // action that nobody offers.
  Device(Settings& settings, const Sources& sources);

  // Answers a table of keys. When one of them can't be answered, the outcome is about that key, and
  // `answer` is not to be used.
  Outcome Query(const StringTable& keys, std::string_view client, StringTable& answer);

  // Stores a batch, all or nothing, or has an action carried out with its parameters. An outcome
  // for each key and, when the settings don't fit together or can't be stored, one more; that of an
  // action is the one of its key. Values that `values` lacks are empty.
  std::vector<Outcome> Set(const StringTable& keys, const StringTable& values,
                           std::string_view client);

 private:
  // Cells, column by column, and what has to stay while they point to it.
  struct Collection {
    std::vector<std::vector<std::string_view>> columns;
    std::deque<std::string> texts;
    std::vector<LiveRows> rows;
    std::vector<std::string> files;  // paths of those that were made
    std::size_t liveBytes = 0;

    void AddText(std::string text);
    // A cell of a live table as every page and every XML can hold it: names of stations are the
    // words of others.
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
