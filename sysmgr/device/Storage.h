// SPDX-License-Identifier: MIT
//
// The settings in a database file. The rule to know: when Store succeeds, every value of the
// batch is on the disk; when it fails or never returns, none of them is.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sysmgr/log/Outcome.h"
#include "sysmgr/model/Model.h"

struct sqlite3;
struct sqlite3_stmt;

class Storage {
 public:
  using Batch = std::vector<std::pair<std::string, std::string>>;  // key, value

  // What the service keeps for itself stands beside the settings, under names that begin with this.
  // No key of a model does, so no client can read or set it, and no list of settings names it.
  static constexpr char kOwnPrefix = '!';

  // How long to wait at start for a service that is just ending. Never waited for afterwards.
  static constexpr int kOpenMilliseconds = 3000;

  // Opens the database, makes it when there is none, and adds the defaults of settings that it
  // lacks. A database that can't be written is read all the same: the settings hold, and storing
  // fails. Throws StartFailure when it can't be used at all: another service has it, it is damaged
  // or no database, or its folder isn't there. The model must outlive the storage.
  Storage(const std::string& path, const Model& model, int openMilliseconds = kOpenMilliseconds);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // The value of a setting of the model: what was stored last, or the default where nothing was,
  // or where the model has since ruled it out. Of the service's own: what was stored last, or "".
  // From memory, no disk is touched.
  const std::string& Get(const std::string& key) const;

  // Stores all of a batch or nothing.
  Outcome Store(const Batch& batch);

  // Forgets everything that was ever stored, the service's own and what other versions of the model
  // left included: each setting has its default again. All or nothing, as Store.
  Outcome Reset();

  // How often the values have changed.
  unsigned Changes() const { return changes_; }

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Database = std::unique_ptr<sqlite3, Closer>;
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  void Open(const std::string& path, int milliseconds);
  void Execute(const char* sql);
  Statement Prepare(const char* sql);
  void Load();
  void AddDefaults();
  int Write(const Batch& batch, bool deleteOthers);
  Outcome Change(const Batch& batch, std::map<std::string, std::string> values, bool deleteOthers);
  [[noreturn]] void FailToStart(const std::string& what);

  std::string path_;
  const Model& model_;
  Database database_;
  Statement insert_;
  std::map<std::string, std::string> values_;
  unsigned changes_ = 0;
};
