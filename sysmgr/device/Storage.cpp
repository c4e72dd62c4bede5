// SPDX-License-Identifier: MIT
//
// Uses a rollback journal, not a write-ahead log: between batches the database is a single file,
// which can be read even from a disk that has become read-only. TRUNCATE with synchronous=FULL also
// syncs the end of the journal, so a power cut can't undo a finished batch.
#include "sysmgr/device/Storage.h"

#include <fcntl.h>
#include <sqlite3.h>

#include "base/Descriptor.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

// "VisS": distinguishes our databases from others.
constexpr int kApplicationId = 0x56697353;
constexpr int kSchemaVersion = 1;

Outcome OutcomeOf(int result) {
  switch (result & 0xFF) {
    case SQLITE_FULL:
      return Sentence::kStorageFull;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_CANTOPEN:
      return Sentence::kStorageReadOnly;
    default:
      return Sentence::kStorageFails;
  }
}

}  // namespace

void Storage::Closer::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}
void Storage::Closer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Storage::Storage(const std::string& path, const Model& model, int openMilliseconds)
    : path_(path), model_(model) {
  Open(path, openMilliseconds);
  Load();
  AddDefaults();
  sqlite3_busy_timeout(database_.get(), 0);
}

Storage::~Storage() = default;

void Storage::FailToStart(const std::string& what) {
  std::string text = "database '" + path_ + "' " + what;
  if (database_ != nullptr) text += ": " + std::string(sqlite3_errmsg(database_.get()));
  throw StartFailure(text);
}

void Storage::Open(const std::string& path, int milliseconds) {
  // The database holds secrets, so only our user may read it; the journal gets the same mode. The
  // descriptor is closed before the library locks the file, because closing it later would remove
  // the lock.
  { const Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)); }
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &database,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  if (result != SQLITE_OK) FailToStart("can't be opened");
  sqlite3_extended_result_codes(database, 1);
  sqlite3_busy_timeout(database, milliseconds);
  // Locks the database while the service runs: no other process can change it or make the service
  // wait.
  Execute("PRAGMA locking_mode=EXCLUSIVE");
  Execute("PRAGMA synchronous=FULL");
  Execute("PRAGMA trusted_schema=OFF");
  // Overwrites deleted secrets on the disk. This is the default in some builds of the library only.
  Execute("PRAGMA secure_delete=ON");
}

void Storage::Execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    FailToStart("can't be used");
  }
}

Storage::Statement Storage::Prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
    FailToStart("can't be used");
  }
  return Statement(statement);
}

void Storage::Load() {
  for (const ModelKey& key : model_.Keys()) {
    if (key.IsSetting()) values_[key.name] = key.defaultValue;
  }
  const auto number = [this](const char* sql) {
    const Statement statement = Prepare(sql);
    if (sqlite3_step(statement.get()) != SQLITE_ROW) FailToStart("can't be read");
    return sqlite3_column_int(statement.get(), 0);
  };
  const int application = number("PRAGMA application_id");
  const int version = number("PRAGMA user_version");
  if (application == 0 && version == 0 && number("SELECT count(*) FROM sqlite_schema") == 0) {
    return;  // a new database
  }
  if (application != kApplicationId) {
    throw StartFailure("database '" + path_ + "' is not one of this service");
  }
  if (version != kSchemaVersion) {
    throw StartFailure("database '" + path_ + "' is of version " + std::to_string(version) +
                       "; this service knows version " + std::to_string(kSchemaVersion));
  }
  const Statement statement = Prepare("SELECT key, value FROM setting");
  int result = SQLITE_OK;
  while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) {
    const auto text = [&statement](int column) {
      const void* bytes = sqlite3_column_blob(statement.get(), column);
      const int size = sqlite3_column_bytes(statement.get(), column);
      return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
    };
    const std::string name = text(0);
    if (!name.empty() && name.front() == kOwnPrefix) {
      values_[name] = text(1);
      continue;
    }
    const ModelKey* key = model_.Find(name);
    // Settings of another model version stay in the database, in case the device goes back to it.
    if (key == nullptr || !key->IsSetting()) continue;
    std::string value = text(1);
    const Outcome outcome = CheckValue(*key, value);
    if (outcome.IsSuccess()) {
      values_[name] = std::move(value);
    } else {
      std::string record = "setting " + name;
      Log::Write(
          record.append(" takes its default instead of what is stored: ").append(outcome.Text()));
    }
  }
  if (result != SQLITE_DONE) FailToStart("can't be read");
}

void Storage::AddDefaults() {
  const auto execute = [this](const char* sql) {
    return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
  };
  int result = execute("PRAGMA journal_mode=TRUNCATE");
  if (result == SQLITE_OK) result = execute("BEGIN IMMEDIATE");
  if (result == SQLITE_OK) {
    result = execute(
        "CREATE TABLE IF NOT EXISTS setting (key BLOB PRIMARY KEY, value BLOB NOT NULL) "
        "WITHOUT ROWID");
  }
  if (result == SQLITE_OK) {
    const std::string marks = "PRAGMA application_id=" + std::to_string(kApplicationId) +
                              "; PRAGMA user_version=" + std::to_string(kSchemaVersion);
    result = execute(marks.c_str());
  }
  if (result == SQLITE_OK) {
    const Statement add = Prepare("INSERT OR IGNORE INTO setting (key, value) VALUES (?, ?)");
    for (const ModelKey& key : model_.Keys()) {
      if (!key.IsSetting()) continue;
      const auto bind = [&add](int index, const std::string& text) {
        sqlite3_bind_blob64(add.get(), index, text.data(), text.size(), SQLITE_STATIC);
      };
      bind(1, key.name);
      bind(2, key.defaultValue);
      result = sqlite3_step(add.get());
      if (result != SQLITE_DONE) break;
      sqlite3_reset(add.get());
    }
    if (result == SQLITE_DONE) result = SQLITE_OK;
  }
  if (result == SQLITE_OK) result = execute("COMMIT");
  if (result != SQLITE_OK) {
    const std::string reason = sqlite3_errmsg(database_.get());
    if ((result & 0xFF) == SQLITE_BUSY) FailToStart("is in use by another service");
    if ((result & 0xFF) == SQLITE_NOTADB || (result & 0xFF) == SQLITE_CORRUPT) {
      FailToStart("is damaged");
    }
    if (sqlite3_get_autocommit(database_.get()) == 0) execute("ROLLBACK");
    Log::Write("database '" + path_ + "' can't be written, settings can't be stored: " + reason);
  }
}

const std::string& Storage::Get(const std::string& key) const {
  static const std::string kNone;
  const auto found = values_.find(key);
  return found == values_.end() ? kNone : found->second;
}

Storage::Batch Storage::Below(const std::string& prefix) const {
  Batch found;
  for (auto entry = values_.lower_bound(prefix);
       entry != values_.end() && entry->first.compare(0, prefix.size(), prefix) == 0; ++entry) {
    found.push_back(*entry);
  }
  return found;
}

int Storage::Write(const Batch& batch, bool deleteOthers) {
  sqlite3* const database = database_.get();
  if (insert_ == nullptr) {
    sqlite3_stmt* statement = nullptr;
    const int result =
        sqlite3_prepare_v2(database, "INSERT OR REPLACE INTO setting (key, value) VALUES (?, ?)",
                           -1, &statement, nullptr);
    // A database without its table could never be written.
    if (result != SQLITE_OK) return SQLITE_READONLY;
    insert_.reset(statement);
  }
  const auto execute = [database](const char* sql) {
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
  };
  int result = execute("BEGIN IMMEDIATE");
  if (result == SQLITE_OK && deleteOthers) result = execute("DELETE FROM setting");
  for (const auto& [key, value] : batch) {
    if (result != SQLITE_OK) break;
    sqlite3_bind_blob64(insert_.get(), 1, key.data(), key.size(), SQLITE_STATIC);
    sqlite3_bind_blob64(insert_.get(), 2, value.data(), value.size(), SQLITE_STATIC);
    result = sqlite3_step(insert_.get());
    if (result == SQLITE_DONE) result = SQLITE_OK;
    sqlite3_reset(insert_.get());
    sqlite3_clear_bindings(insert_.get());
  }
  if (result == SQLITE_OK) result = execute("COMMIT");
  return result;
}

Outcome Storage::Store(const Batch& batch) {
  std::map<std::string, std::string> values = values_;
  for (const auto& [key, value] : batch) values[key] = value;
  return Change(batch, std::move(values), false);
}

Outcome Storage::Reset() {
  Batch batch;
  for (const ModelKey& key : model_.Keys()) {
    if (key.IsSetting()) batch.emplace_back(key.name, key.defaultValue);
  }
  return Change(batch, {batch.begin(), batch.end()}, true);
}

// `values` are the values after the change. They are built before the commit, so that nothing can
// fail after it.
Outcome Storage::Change(const Batch& batch, std::map<std::string, std::string> values,
                        bool deleteOthers) {
  const int result = Write(batch, deleteOthers);
  if (result != SQLITE_OK) {
    Log::Write("a batch of " + std::to_string(batch.size()) +
               " settings was not stored: " + sqlite3_errstr(result));
    if (sqlite3_get_autocommit(database_.get()) == 0) {
      sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return OutcomeOf(result);
  }
  values_.swap(values);
  ++changes_;
  return {};
}
