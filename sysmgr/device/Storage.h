// SPDX-License-Identifier: MIT
//
// The settings in memory, and their way to the disk. The rule to know: when a batch is done with
// success, every value of it is on the disk; when it fails or is never done, none of them is.
//
// One transaction is written at a time, on a thread beside the event loop. Batches that come
// meanwhile wait, and then go to the disk together in the next one.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sysmgr/device/Database.h"
#include "sysmgr/log/Outcome.h"
#include "sysmgr/model/Model.h"

class Storage {
 public:
  using Batch = std::vector<std::pair<std::string, std::string>>;  // key, value

  // Called once, perhaps from within.
  using Done = std::function<void(Outcome)>;

  // The values that a batch finds: those on the disk and those of earlier batches with which it
  // goes there.
  using Lookup = std::function<const std::string&(const std::string& key)>;

  // Decides about a batch when it goes to the disk, and may change it.
  using Check = std::function<Outcome(Batch& batch, const Lookup& before)>;

  // A value that a batch has changed.
  struct Change {
    std::string key;
    std::string before;
    std::string after;
  };
  using Changes = std::vector<Change>;

  // What else there is to know of a batch.
  struct Terms {
    Check check;         // of this batch only, asked before the storage's own
    std::string origin;  // for the observer: where it comes from
  };

  // Called for each batch that has changed values, before anybody is told that it is stored.
  using Observer = std::function<void(const Changes& changes, const std::string& origin)>;

  // Does `work` beside the event loop, and then calls `done` from the loop.
  using Runner = std::function<void(std::function<void()> work, std::function<void()> done)>;

  // The service's own values are stored with the settings, under names that begin with this. No key
  // of a model does, so no client can read or set them, and no list of settings holds them.
  static constexpr char kOwnPrefix = '!';

  // The own value that tells of settings that were lost: "damaged", "newer", or ""
  // (Database::Loss).
  static constexpr const char* kLost = "!lost";

  // How long to wait at the start for a service that is just ending. There is no waiting later.
  static constexpr int kOpenMilliseconds = 3000;

  // The memory of batches that wait; eight of the largest. More are refused as busy.
  static constexpr std::size_t kMaxWaitingBytes = std::size_t{8} << 20;

  // The pages of the write-ahead log with which it is copied into the database: while nothing
  // waits, and in any case.
  static constexpr int kLogPages = 128;
  static constexpr int kMostLogPages = 1024;

  // Opens or makes the database, and adds the defaults of missing settings. One that can't be used
  // is put aside, and the settings begin with their defaults. When the disk takes no writes, what
  // can be read is used, and writing is tried again with each batch. Throws StartFailure, see
  // Database::Read. The model must outlive the storage.
  Storage(const std::string& path, const Model& model, int openMilliseconds = kOpenMilliseconds,
          unsigned version = Database::kVersion);
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // All three before the first batch. What the runner does must have ended before the storage goes.
  void RunWith(Runner runner) { runner_ = std::move(runner); }
  void CheckWith(Check check) { check_ = std::move(check); }
  void Observe(Observer observer) { observer_ = std::move(observer); }

  // The value of a setting of the model: the one stored last, or the default if none was stored or
  // the present model refuses it. For the service's own values: the one stored last, or "". Reads
  // memory only, not the disk, and never a value that still waits to be stored.
  const std::string& Get(const std::string& key) const;

  // Everything whose name begins with `prefix`.
  Batch Below(const std::string& prefix) const;

  // Stores all of a batch or nothing. Batches are done in their order. A value that is on the disk
  // already is not written again.
  void Store(Batch batch, Done done, Terms terms = {});

  // Forgets everything that was ever stored, including the service's own values and settings of
  // other versions of the model, so that each setting has its default again. All or nothing, as
  // Store. The observer is not called.
  void Reset(Done done);

 private:
  // A batch on its way.
  struct Entry {
    Batch batch;
    Done done;
    Terms terms = {};
    Outcome outcome = {};  // a failure when it is refused
    Changes changes = {};
    bool isReset = false;
    std::size_t bytes = 0;
  };

  // What goes to the disk at once, and what changes then.
  struct Transaction {
    std::vector<Entry> entries;
    Database::Rows rows;  // empty when there is nothing to write
    bool isReset = false;
    std::map<std::string, std::string> values;  // afterwards
    std::optional<Database::Failure> failure;
  };

  std::map<std::string, std::string> Load();
  void Add(Entry entry);
  void Begin();
  void Run(std::function<void()> work, std::function<void()> done);
  void Assemble();
  void AssembleReset();
  void AssembleOne(Entry& entry, Database::Rows& rows) const;
  void Complete();

  const Model& model_;
  Database database_;  // of the runner's thread while isRunning_
  std::map<std::string, std::string> values_;
  Runner runner_;
  Check check_;
  Observer observer_;
  std::deque<Entry> waiting_;
  std::size_t waitingBytes_ = 0;
  Transaction transaction_;
  bool isRunning_ = false;
};
