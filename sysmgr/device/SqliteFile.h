// SPDX-License-Identifier: MIT
//
// An open database of the library SQLite, with the pragmas that the settings need. All functions
// throw DiskError. One thread uses it at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

class SqliteFile {
 public:
  using Rows = std::map<std::string, std::string>;

  // What a write-ahead log that has been copied keeps of the disk for the next one.
  static constexpr int kKeptLogBytes = 1 << 20;

  // Opens an existing file, whose lock it keeps until it is destroyed, and waits so long for
  // another process that has it.
  static SqliteFile Open(const std::string& path, int waitMilliseconds);

  // Opens a file on a disk that takes no writes, without a lock.
  static SqliteFile OpenToRead(const std::string& path);

  // No file.
  SqliteFile() = default;

  bool IsOpen() const { return database_ != nullptr; }

  void Execute(const std::string& sql);

  // The first cell of the result.
  std::string Text(const std::string& sql);

  // The result's two columns.
  Rows ReadRows(const std::string& sql);

  // Keeps changes in a write-ahead log from now on: a transaction then takes one sync.
  void KeepLog();

  // Writes the rows in one transaction, which is on the disk when this returns; before that,
  // removes all others if `deleteOthers`. On failure, nothing is changed.
  void Write(const Rows& rows, bool deleteOthers);

  // Makes the table and marks the file as ours, of that version, and stores the rows; all of it or
  // nothing.
  void Make(unsigned application, unsigned version, const Rows& rows);

  // The pages in the write-ahead log that were written after the last CopyLog.
  int LogPages() const { return logPages_ == nullptr ? 0 : *logPages_; }

  // Copies the log into the database. `empty`: and empties the log, so that it holds nothing old.
  void CopyLog(bool empty);

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  SqliteFile(const std::string& name, int flags, const char* system);

  Statement Prepare(const std::string& sql);
  void Insert(const Rows& rows);
  [[noreturn]] void Fail(const std::string& what) const;

  template <typename Steps>
  void Transact(Steps steps);

  std::unique_ptr<sqlite3, Closer> database_;
  std::unique_ptr<int> logPages_;
};
