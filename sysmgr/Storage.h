// SPDX-License-Identifier: MIT
//
// The settings in a database file. The rule to know: when Store returns "", every value of the
// batch is on the disk; when it returns anything else or never returns, none of them is.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sysmgr/Model.h"

struct sqlite3;
struct sqlite3_stmt;

class Storage {
 public:
  using Batch = std::vector<std::pair<std::string, std::string>>;  // key, value

  // How long to wait at start for a service that is just ending. Never waited for afterwards.
  static constexpr int kOpenMilliseconds = 3000;

  // Opens the database, makes it when there is none, and adds the defaults of settings that it
  // lacks. A database that can't be written is read all the same: the settings hold, and storing
  // fails. Throws StartFailure when it can't be used at all: another service has it, it is damaged
  // or no database, or its folder isn't there. The model must outlive the storage.
  Storage(const std::string& path, const Model& model);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // The value of a setting of the model: what was stored last, or the default where nothing was,
  // or where the model has since ruled it out. From memory, no disk is touched.
  const std::string& Get(const std::string& key) const;

  // Stores all of a batch or nothing. "" on success, else why not, in words for a page.
  std::string Store(const Batch& batch);

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Database = std::unique_ptr<sqlite3, Closer>;
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  void Open(const std::string& path);
  void Execute(const char* sql);
  Statement Prepare(const char* sql);
  void Load(const Model& model);
  void AddDefaults(const Model& model);
  int Write(const Batch& batch);
  [[noreturn]] void FailToStart(const std::string& what);

  std::string path_;
  Database database_;
  Statement insert_;
  std::map<std::string, std::string> values_;
};
