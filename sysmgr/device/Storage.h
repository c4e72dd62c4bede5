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

  // The service's own values are stored with the settings, under names that begin with this. No key
  // of a model does, so no client can read or set them, and no list of settings holds them.
  static constexpr char kOwnPrefix = '!';

  // How long to wait at the start for a service that is just ending. There is no waiting later.
  static constexpr int kOpenMilliseconds = 3000;

  // Opens or makes the database, and adds the defaults of missing settings. A database that can't
  // be written is read nevertheless: its settings are used, and storing fails. Throws StartFailure
  // when it can't be used at all: another service uses it, it is damaged or not a database, or its
  // folder is missing. The model must outlive the storage.
  Storage(const std::string& path, const Model& model, int openMilliseconds = kOpenMilliseconds);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // The value of a setting of the model: the one stored last, or the default if none was stored or
  // the present model refuses it. For the service's own values: the one stored last, or "". Reads
  // memory only, not the disk.
  const std::string& Get(const std::string& key) const;

  // Everything whose name begins with `prefix`.
  Batch Below(const std::string& prefix) const;

  // Stores all of a batch or nothing.
  Outcome Store(const Batch& batch);

  // Forgets everything that was ever stored, including the service's own values and settings of
  // other versions of the model, so that each setting has its default again. All or nothing, as
  // Store.
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
