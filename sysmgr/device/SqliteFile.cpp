// SPDX-License-Identifier: MIT
//
// The lock is taken with the first read. With it, the index of the write-ahead log is kept in
// memory and not in a further file.
#include "sysmgr/device/SqliteFile.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>

#include "base/Descriptor.h"
#include "sysmgr/device/DiskError.h"

namespace {

DiskError::Kind KindOf(int result) {
  switch (result) {
    case SQLITE_IOERR_READ:
    case SQLITE_IOERR_SHORT_READ:
    case SQLITE_IOERR_CORRUPTFS:
      return DiskError::Kind::kDamaged;
    default:
      break;
  }
  switch (result & 0xFF) {
    case SQLITE_FULL:
      return DiskError::Kind::kFull;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return DiskError::Kind::kReadOnly;
    case SQLITE_BUSY:
      return DiskError::Kind::kInUse;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // the table is not there, or another one
      return DiskError::Kind::kDamaged;
    default:
      return DiskError::Kind::kFails;
  }
}

std::string CellOf(sqlite3_stmt* statement, int column) {
  const void* const bytes = sqlite3_column_blob(statement, column);
  if (bytes == nullptr) return "";
  const int size = sqlite3_column_bytes(statement, column);
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

// A path as the library's URI.
std::string UriOf(const std::string& path, const char* option) {
  std::string uri = "file:";
  for (const char byte : path) {
    if (byte == '%' || byte == '?' || byte == '#') {
      constexpr const char* kDigits = "0123456789ABCDEF";
      uri.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
    } else {
      uri += byte;
    }
  }
  return uri + option;
}

int OnCommit(void* pages, sqlite3*, const char*, int count) {
  *static_cast<int*>(pages) = count;
  return SQLITE_OK;
}

}  // namespace

void SqliteFile::Closer::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}
void SqliteFile::Closer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

SqliteFile::SqliteFile(const std::string& name, int flags, const char* system)
    : logPages_(std::make_unique<int>(0)) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, system);
  database_.reset(database);
  if (result != SQLITE_OK) Fail("it can't be opened");
  sqlite3_extended_result_codes(database, 1);
  // No other process can change the file or make the service wait.
  Execute("PRAGMA locking_mode=EXCLUSIVE");
  Execute("PRAGMA synchronous=FULL");
  Execute("PRAGMA trusted_schema=OFF");
  // Overwrites deleted secrets on the disk. This is the default in some builds of the library only.
  Execute("PRAGMA secure_delete=ON");
}

SqliteFile SqliteFile::Open(const std::string& path, int waitMilliseconds) {
  // The library would open a file read-only and not say why. The descriptor is closed before the
  // library locks the file, because closing it later would remove the lock.
  {
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file.IsOpen()) throw DiskError::FromErrno(errno, "it can't be opened");
  }
  SqliteFile file(path, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_busy_timeout(file.database_.get(), waitMilliseconds);
  return file;
}

SqliteFile SqliteFile::OpenToRead(const std::string& path) {
  struct stat status {};
  // An unfinished transaction is in the file, and only a write could take it back.
  if (stat((path + "-journal").c_str(), &status) == 0 && status.st_size > 0) {
    throw DiskError(DiskError::Kind::kFails, "its journal can't be applied");
  }
  // Without a write-ahead log, the library would want to make one.
  const bool hasLog = stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0;
  return hasLog ? SqliteFile(path, SQLITE_OPEN_READONLY, "unix-none")
                : SqliteFile(UriOf(path, "?immutable=1"), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                             nullptr);
}

void SqliteFile::Fail(const std::string& what) const {
  sqlite3* const database = database_.get();
  const int result = sqlite3_extended_errcode(database);
  const std::string text = what + ": " + sqlite3_errmsg(database);
  const int error = sqlite3_system_errno(database);
  const bool saysErrno = (result & 0xFF) == SQLITE_CANTOPEN || (result & 0xFF) == SQLITE_IOERR;
  if (saysErrno && KindOf(result) == DiskError::Kind::kFails && error != 0) {
    throw DiskError::FromErrno(error, text);
  }
  throw DiskError(KindOf(result), text);
}

void SqliteFile::Execute(const std::string& sql) {
  if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail("it can't be used");
  }
}

SqliteFile::Statement SqliteFile::Prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    Fail("it can't be used");
  }
  return Statement(statement);
}

std::string SqliteFile::Text(const std::string& sql) {
  const Statement statement = Prepare(sql);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) Fail("it can't be read");
  return CellOf(statement.get(), 0);
}

SqliteFile::Rows SqliteFile::ReadRows(const std::string& sql) {
  const Statement statement = Prepare(sql);
  Rows rows;
  int result = SQLITE_OK;
  while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) {
    rows[CellOf(statement.get(), 0)] = CellOf(statement.get(), 1);
  }
  if (result != SQLITE_DONE) Fail("it can't be read");
  return rows;
}

template <typename Steps>
void SqliteFile::Transact(Steps steps) {
  Execute("BEGIN IMMEDIATE");
  try {
    steps();
    Execute("COMMIT");
  } catch (...) {
    if (sqlite3_get_autocommit(database_.get()) == 0) {
      sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    throw;
  }
}

void SqliteFile::KeepLog() {
  if (Text("PRAGMA journal_mode=WAL") != "wal") Fail("it can't have a write-ahead log");
  Execute("PRAGMA journal_size_limit=" + std::to_string(kKeptLogBytes));
  sqlite3_wal_hook(database_.get(), OnCommit, logPages_.get());  // instead of copying by itself
  // Writes what is there already. So the first transaction finds a log whose header and whose place
  // in the folder are on the disk, and it shows whether the disk takes writes.
  const std::string version = Text("PRAGMA user_version");
  Transact([&] { Execute("PRAGMA user_version=" + version); });
}

void SqliteFile::Insert(const Rows& rows) {
  const Statement insert = Prepare("INSERT OR REPLACE INTO setting (key, value) VALUES (?, ?)");
  for (const auto& [key, value] : rows) {
    sqlite3_bind_blob64(insert.get(), 1, key.data(), key.size(), SQLITE_STATIC);
    sqlite3_bind_blob64(insert.get(), 2, value.data(), value.size(), SQLITE_STATIC);
    if (sqlite3_step(insert.get()) != SQLITE_DONE) Fail("it can't be written");
    sqlite3_reset(insert.get());
  }
}

void SqliteFile::Write(const Rows& rows, bool deleteOthers) {
  Transact([&] {
    if (deleteOthers) Execute("DELETE FROM setting");
    Insert(rows);
  });
}

void SqliteFile::Make(unsigned application, unsigned version, const Rows& rows) {
  Execute("PRAGMA journal_mode=MEMORY");
  Transact([&] {
    Execute(
        "CREATE TABLE setting (key BLOB PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
        "PRAGMA application_id=" +
        std::to_string(application) + "; PRAGMA user_version=" + std::to_string(version));
    Insert(rows);
  });
}

void SqliteFile::CopyLog(bool empty) {
  // Also when it fails: it is tried again after the next transaction, not at once.
  *logPages_ = 0;
  const int mode = empty ? SQLITE_CHECKPOINT_TRUNCATE : SQLITE_CHECKPOINT_PASSIVE;
  if (sqlite3_wal_checkpoint_v2(database_.get(), nullptr, mode, nullptr, nullptr) != SQLITE_OK) {
    Fail("its log can't be copied");
  }
}
