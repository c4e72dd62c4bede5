// SPDX-License-Identifier: MIT
//
// The settings' database, as rows of names and values. The rule to know: the file is never half of
// anything. It is put in place whole, changed in transactions, and, when it can't be used, put
// aside whole.
#pragma once

#include <optional>
#include <string>

#include "sysmgr/device/SqliteFile.h"
#include "sysmgr/log/Sentences.h"

class Database {
 public:
  using Rows = SqliteFile::Rows;

  // Of the tables. Firmware whose tables are others has another version.
  static constexpr unsigned kVersion = 1;

  // How settings were lost that had been stored.
  enum class Loss {
    kNone,
    kDamaged,
    kNewer,  // they are of a later version, and are kept for the firmware that knows it
  };

  struct Failure {
    Sentence words;   // for clients
    std::string why;  // for the log
  };

  // `version`: other than kVersion for tests only.
  explicit Database(std::string path, unsigned version = kVersion);

  // Reads what is stored, and waits so long for a service that is just ending. Nothing is stored,
  // and no file made, when there is no database or one that can't be used. Throws StartFailure when
  // another service has it, it may not be read, or its folder is missing.
  Loss Read(int waitMilliseconds);

  // The rows that the file holds or will hold with the next change.
  const Rows& Stored() const { return rows_; }

  // Adds rows that go to the disk with the next change.
  void Owe(const Rows& rows);

  // Makes the changes: all of them are on the disk then, or none. With `deleteOthers` they become
  // the only rows, and nothing that was put aside is kept. Whatever stood in the way before is
  // tried again: the file is opened, made anew or put aside.
  std::optional<Failure> Write(const Rows& changes, bool deleteOthers);

  // Whether that row is on the disk.
  bool Holds(const std::string& name, const std::string& value) const;

  // The pages in the write-ahead log that CopyLog would copy into the database. Without that, the
  // log grows without end.
  int LogPages() const { return file_.LogPages(); }
  void CopyLog();

 private:
  enum class Found { kNothing, kOurs, kNewer, kDamaged };

  // What is in the place of a database.
  struct Seen {
    Found found = Found::kNothing;
    unsigned version = 0;
    Rows rows = {};
    SqliteFile file = {};
    bool isReadOnly = false;
    std::string fault = {};  // of a damaged one that is, or was, there
  };

  Seen Look(int waitMilliseconds);
  Seen Examine(const std::string& path, int waitMilliseconds) const;
  void ExamineContent(Seen& seen) const;
  void CompleteReplacement();
  void TakeBack(const Seen& seen);
  void PutAside(const Seen& seen) const;
  bool OpenForWriting();
  void Replace(const Rows& rows);

  std::string path_;
  unsigned version_;
  Rows rows_;
  Rows owed_;
  SqliteFile file_;
  bool isReady_ = false;  // the file can be written
};
