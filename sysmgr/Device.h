// SPDX-License-Identifier: MIT
//
// Answers queries and stores settings: the model's keys over live values and stored settings. It
// knows nothing of sockets and clients but their names.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/StringTable.h"
#include "sysmgr/LiveSource.h"
#include "sysmgr/Model.h"
#include "sysmgr/Storage.h"

class Device {
 public:
  // More keys than any page has; bounds the time that one query can take from the others.
  static constexpr unsigned kMaxKeysPerRequest = 4096;

  // Largest serialised answer, before what frames it in a message. Held while the answer grows, not
  // only at its end.
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;

  // All must outlive the device. Throws StartFailure when the model names a source or column that
  // the live values don't have.
  Device(const Model& model, LiveSource& live, Storage& storage);

  // Answers a table of keys. False when one of them can't be answered: `problem` says which and
  // why, for a log, and `answer` is not to be used.
  bool Query(const StringTable& keys, std::string_view client, StringTable& answer,
             std::string& problem);

  // Stores a batch, all or nothing. The answer has one column, a row per key and, when the settings
  // don't fit together or can't be stored, one more. Values that `values` lacks are empty.
  StringTable Set(const StringTable& keys, const StringTable& values, std::string_view client);

 private:
  // Cells, column by column, and what has to stay while they point to it.
  struct Collection {
    std::vector<std::vector<std::string_view>> columns;
    std::deque<std::string> texts;
    std::vector<LiveRows> rows;

    void AddText(std::string text);
    void JoinFrom(std::size_t first);
    std::size_t BytesFrom(std::size_t first) const;
  };

  std::string AppendKey(std::string_view text, std::string_view client, Collection& collection);
  std::string AppendTable(const ModelKey& definition, const Config::Key::Key& key,
                          Collection& collection);
  std::string CheckSetting(std::string_view text, std::string_view value, std::string_view client);
  std::string CheckTogether(const Storage::Batch& batch) const;

  const Model& model_;
  LiveSource& live_;
  Storage& storage_;
};
