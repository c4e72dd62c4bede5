// SPDX-License-Identifier: MIT
//
// A new file is made under another name and renamed: so a file that is not whole is a damaged one,
// and never one that was just being made.
#include "sysmgr/device/Database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/Descriptor.h"
#include "base/Number.h"
#include "sysmgr/device/AsideFiles.h"
#include "sysmgr/device/DiskError.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

// "VisS": distinguishes our databases from others.
constexpr unsigned kApplicationId = 0x56697353;

constexpr const char* kNew = ".new";

unsigned NumberOf(SqliteFile& file, const char* sql) {
  unsigned number = 0;
  return ParseDecimal(file.Text(sql), number) ? number : 0;
}

Database::Rows Merge(Database::Rows rows, const Database::Rows& changes) {
  for (const auto& [name, value] : changes) rows[name] = value;
  return rows;
}

}  // namespace

Database::Database(std::string path, unsigned version)
    : path_(std::move(path)), version_(version) {}

Database::Loss Database::Read(int waitMilliseconds) {
  const std::string name = "database '" + path_ + "' ";
  try {
    Seen seen = Look(waitMilliseconds);
    rows_ = std::move(seen.rows);
    if (seen.found == Found::kOurs && !seen.isReadOnly) file_ = std::move(seen.file);
    if (!seen.fault.empty()) {
      Log::Write(name + "is damaged: " + seen.fault, Log::Priority::kError);
      return Loss::kDamaged;
    }
    if (seen.found != Found::kNewer) return Loss::kNone;
    Log::Write(name + "is of version " + std::to_string(seen.version) +
                   "; this service knows version " + std::to_string(version_),
               Log::Priority::kError);
    return Loss::kNewer;
  } catch (const DiskError& error) {
    const bool inUse = error.Cause() == DiskError::Kind::kInUse;
    throw StartFailure(name + (inUse ? "is in use by another service: " : "can't be used: ") +
                       error.what());
  }
}

// What is at the path after taking back what was put aside for us, if there is anything.
Database::Seen Database::Look(int waitMilliseconds) {
  CompleteReplacement();
  Seen seen = Examine(path_, waitMilliseconds);
  const bool isCurrent = seen.found == Found::kOurs && seen.version == version_;
  if (isCurrent || !AsideFiles::Exists(AsideFiles::NameFor(path_, version_))) return seen;
  seen.file = SqliteFile();
  TakeBack(seen);
  Seen taken = Examine(path_, waitMilliseconds);
  if (taken.fault.empty()) taken.fault = seen.fault;
  return taken;
}

// The power may have failed when the old file was put aside and the new one not renamed yet.
void Database::CompleteReplacement() {
  const std::string made = path_ + kNew;
  if (AsideFiles::Exists(path_) || !AsideFiles::Exists(made)) return;
  try {
    if (Examine(made, 0).found == Found::kOurs) AsideFiles::Place(made, path_);
  } catch (const DiskError& error) {
    Log::Write("database '" + path_ + "' can't be put in place: " + error.what(),
               Log::Priority::kError);
  }
}

void Database::TakeBack(const Seen& seen) {
  const std::string start = "database '" + path_ + "': the one of version " +
                            std::to_string(version_) + ", which was put aside, ";
  try {
    if (seen.found != Found::kNothing) PutAside(seen);
    AsideFiles::Move(AsideFiles::NameFor(path_, version_), path_);
    Log::Write(start + "is used again");
  } catch (const DiskError& error) {
    Log::Write(start + "can't be used again: " + error.what(), Log::Priority::kError);
  }
}

Database::Seen Database::Examine(const std::string& path, int waitMilliseconds) const {
  Seen seen;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int error = errno;
    if (error == ENOENT && stat(folder.c_str(), &status) == 0) return seen;
    throw StartFailure("database '" + path + "' can't be opened: " + std::strerror(error));
  }
  if (!S_ISREG(status.st_mode)) throw StartFailure("database '" + path + "' is not a file");
  try {
    try {
      seen.file = SqliteFile::Open(path, waitMilliseconds);
      ExamineContent(seen);
    } catch (const DiskError& error) {
      // Reading may need a further file, for which a full disk has no room.
      if (error.Cause() != DiskError::Kind::kReadOnly && error.Cause() != DiskError::Kind::kFull)
        throw;
      seen.isReadOnly = true;
      seen.file = SqliteFile::OpenToRead(path);
      ExamineContent(seen);
    }
  } catch (const DiskError& error) {
    if (error.Cause() != DiskError::Kind::kDamaged) throw;
    seen.found = Found::kDamaged;
    seen.fault = error.what();
    seen.file = SqliteFile();
  }
  return seen;
}

void Database::ExamineContent(Seen& seen) const {
  const bool isOurs = NumberOf(seen.file, "PRAGMA application_id") == kApplicationId;
  seen.version = NumberOf(seen.file, "PRAGMA user_version");
  if (!isOurs || seen.version == 0) {
    throw DiskError(DiskError::Kind::kDamaged, "it is not one of this service");
  }
  if (seen.version > version_) {
    seen.found = Found::kNewer;
    seen.file = SqliteFile();  // copies a log into it
    return;
  }
  const std::string fault = seen.file.Text("PRAGMA integrity_check(1)");
  if (fault != "ok") throw DiskError(DiskError::Kind::kDamaged, fault);
  seen.rows = seen.file.ReadRows("SELECT key, value FROM setting");
  seen.found = Found::kOurs;
}

void Database::PutAside(const Seen& seen) const {
  const bool isDamaged = seen.found == Found::kDamaged;
  const std::string name =
      isDamaged ? AsideFiles::PutDamaged(path_) : AsideFiles::PutVersion(path_, seen.version);
  Log::Write("database '" + path_ + "' is put aside as '" + name + "'", Log::Priority::kWarning);
}

void Database::Owe(const Rows& rows) {
  owed_ = Merge(std::move(owed_), rows);
}

bool Database::Holds(const std::string& name, const std::string& value) const {
  if (!isReady_) return false;
  const auto row = rows_.find(name);
  return row != rows_.end() && row->second == value;
}

// False when the file has to be made anew.
bool Database::OpenForWriting() {
  if (isReady_) return true;
  if (!file_.IsOpen()) {
    Seen seen = Look(0);
    if (seen.found != Found::kOurs) {
      seen.file = SqliteFile();
      return false;
    }
    // Somebody has brought another one, or its disk, after the start.
    if (seen.rows != rows_) {
      throw DiskError(DiskError::Kind::kFails,
                      "it is not the one of the start; start the service again");
    }
    if (seen.isReadOnly) {
      seen.file = SqliteFile();  // first: closing a file removes the locks on it
      seen.file = SqliteFile::Open(path_, 0);
    }
    file_ = std::move(seen.file);
  }
  if (NumberOf(file_, "PRAGMA user_version") != version_) {
    file_.Execute("PRAGMA user_version=" + std::to_string(version_));
  }
  file_.KeepLog();
  isReady_ = true;
  return true;
}

// Makes the file anew with these rows; what was at its place is put aside.
void Database::Replace(const Rows& rows) {
  const std::string made = path_ + kNew;
  unlink(made.c_str());
  {
    // The database holds secrets, so only our user may read it; its log gets the same mode.
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const Descriptor file(open(made.c_str(), kFlags, 0600));
    if (!file.IsOpen()) throw DiskError::FromErrno(errno, "'" + made + "' can't be made");
  }
  SqliteFile::Open(made, 0).Make(kApplicationId, version_, rows);
  const Seen old = Examine(path_, 0);
  if (old.found != Found::kNothing) PutAside(old);
  AsideFiles::Place(made, path_);
}

std::optional<Database::Failure> Database::Write(const Rows& changes, bool deleteOthers) {
  const auto failure = [this](Sentence words, const std::string& why) {
    return Failure{words, "database '" + path_ + "': " + why};
  };
  try {
    const Rows all = deleteOthers ? changes : Merge(owed_, changes);
    Rows after = deleteOthers ? changes : Merge(rows_, all);
    if (OpenForWriting()) {
      if (deleteOthers || !all.empty()) file_.Write(all, deleteOthers);
    } else {
      Replace(after);
    }
    rows_.swap(after);
    owed_.clear();
  } catch (const DiskError& error) {
    if (!isReady_ || error.Cause() == DiskError::Kind::kDamaged) {
      file_ = SqliteFile();
      isReady_ = false;
    }
    return failure(error.Words(), error.what());
  } catch (const std::exception& error) {
    return failure(Sentence::kStorageFails, error.what());
  }
  try {
    if (deleteOthers) AsideFiles::RemoveAll(path_);
    if (!isReady_) OpenForWriting();
    if (deleteOthers) file_.CopyLog(true);  // it still has what was deleted
  } catch (const std::exception& error) {
    Log::Write(failure(Sentence::kStorageFails, error.what()).why, Log::Priority::kError);
  }
  return std::nullopt;
}

void Database::CopyLog() {
  try {
    file_.CopyLog(false);
  } catch (const std::exception& error) {
    Log::Write("database '" + path_ + "': " + error.what(), Log::Priority::kError);
  }
}
