// SPDX-License-Identifier: MIT
//
// A transaction is put together on the loop's thread, while nothing runs beside it: each batch is
// checked against what the ones before it will have stored.
#include "sysmgr/device/Storage.h"

#include <exception>

#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

const char* WordFor(Database::Loss loss) {
  return loss == Database::Loss::kNewer ? "newer" : "damaged";
}

std::size_t BytesOf(const Storage::Batch& batch) {
  std::size_t bytes = 0;
  for (const auto& setting : batch) {
    bytes += sizeof setting + setting.first.size() + setting.second.size();
  }
  return bytes;
}

}  // namespace

Storage::Storage(const std::string& path, const Model& model, int openMilliseconds,
                 unsigned version)
    : model_(model), database_(path, version) {
  const Database::Loss loss = database_.Read(openMilliseconds);
  Database::Rows missing = Load();
  if (loss != Database::Loss::kNone) missing[kLost] = values_[kLost] = WordFor(loss);
  database_.Owe(missing);
  const auto failure = database_.Write({}, false);
  if (failure) {
    Log::Write(failure->why + "; settings can't be stored, which is tried again with each one",
               Log::Priority::kError);
  }
}

// Takes over what is stored and returns the defaults of what is not.
std::map<std::string, std::string> Storage::Load() {
  std::map<std::string, std::string> missing;
  const Database::Rows& stored = database_.Stored();
  for (const ModelKey& key : model_.Keys()) {
    if (!key.IsSetting()) continue;
    values_[key.name] = key.defaultValue;
    if (stored.count(key.name) == 0) missing[key.name] = key.defaultValue;
  }
  for (const auto& [name, value] : stored) {
    if (!name.empty() && name.front() == kOwnPrefix) {
      values_[name] = value;
      continue;
    }
    const ModelKey* key = model_.Find(name);
    // Settings of another model version stay in the database, in case the device goes back to it.
    if (key == nullptr || !key->IsSetting()) continue;
    const Outcome outcome = CheckValue(*key, value);
    if (outcome.IsSuccess()) {
      values_[name] = value;
    } else {
      Log::Write("setting " + name +
                 " takes its default instead of what is stored: " + outcome.Text());
    }
  }
  return missing;
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

void Storage::Store(Batch batch, Done done, Terms terms) {
  Entry entry{std::move(batch), std::move(done), std::move(terms)};
  entry.bytes = BytesOf(entry.batch);
  if (waitingBytes_ + entry.bytes > kMaxWaitingBytes) {
    // It keeps its place among the others, but nothing of it is kept.
    entry.batch.clear();
    entry.batch.shrink_to_fit();
    entry.bytes = 0;
    entry.outcome = Sentence::kDeviceBusy;
  }
  Add(std::move(entry));
}

void Storage::Reset(Done done) {
  Entry entry{{}, std::move(done)};
  entry.isReset = true;
  Add(std::move(entry));
}

void Storage::Add(Entry entry) {
  waitingBytes_ += entry.bytes;
  waiting_.push_back(std::move(entry));
  Begin();
}

void Storage::Begin() {
  while (!isRunning_) {
    const int pages = database_.LogPages();
    if (pages >= (waiting_.empty() ? kLogPages : kMostLogPages)) {
      Run([this] { database_.CopyLog(); }, [] {});
      return;
    }
    if (waiting_.empty()) return;
    Assemble();
    if (transaction_.isReset || !transaction_.rows.empty()) {
      Run(
          [this] {
            transaction_.failure = database_.Write(transaction_.rows, transaction_.isReset);
          },
          [this] { Complete(); });
    } else {
      Complete();
    }
  }
}

void Storage::Run(std::function<void()> work, std::function<void()> done) {
  isRunning_ = true;
  runner_(std::move(work), [this, done = std::move(done)] {
    isRunning_ = false;
    done();
    Begin();
  });
}

// Takes the batches that wait, up to the next reset, which is a transaction of its own.
void Storage::Assemble() {
  transaction_ = Transaction();
  if (waiting_.front().isReset) {
    AssembleReset();
    return;
  }
  Database::Rows rows;
  while (!waiting_.empty() && !waiting_.front().isReset) {
    Entry& entry = transaction_.entries.emplace_back(std::move(waiting_.front()));
    waiting_.pop_front();
    waitingBytes_ -= entry.bytes;
    if (entry.outcome.IsSuccess()) AssembleOne(entry, rows);
  }
  for (const auto& [key, value] : rows) {
    if (!database_.Holds(key, value)) transaction_.rows.emplace(key, value);
  }
  transaction_.values = values_;
  for (auto& [key, value] : rows) transaction_.values[key] = std::move(value);
}

void Storage::AssembleReset() {
  transaction_.entries.push_back(std::move(waiting_.front()));
  waiting_.pop_front();
  transaction_.isReset = true;
  for (const ModelKey& key : model_.Keys()) {
    if (key.IsSetting()) transaction_.rows[key.name] = key.defaultValue;
  }
  transaction_.values = transaction_.rows;
}

// `rows` are those of the batches with which it goes to the disk; adds its own.
void Storage::AssembleOne(Entry& entry, Database::Rows& rows) const {
  const auto before = [&](const std::string& key) -> const std::string& {
    const auto row = rows.find(key);
    return row == rows.end() ? Get(key) : row->second;
  };
  if (entry.terms.check) entry.outcome = entry.terms.check(entry.batch, before);
  if (entry.outcome.IsSuccess() && check_) entry.outcome = check_(entry.batch, before);
  if (!entry.outcome.IsSuccess()) return;
  for (const auto& [key, value] : entry.batch) {
    if (before(key) != value) entry.changes.push_back({key, before(key), value});
    rows[key] = value;
  }
}

void Storage::Complete() {
  Transaction transaction = std::move(transaction_);
  transaction_ = Transaction();
  // Whoever fails to take the news does not keep it from the others.
  const auto tell = [](const auto& call) {
    try {
      call();
    } catch (const std::exception& error) {
      Log::Write("what follows a stored batch failed: " + std::string(error.what()));
    }
  };
  if (transaction.failure) {
    Log::WriteAboutClient("settings are not stored: " + transaction.failure->why);
  } else {
    values_.swap(transaction.values);
  }
  for (Entry& entry : transaction.entries) {
    if (transaction.failure && entry.outcome.IsSuccess()) {
      entry.outcome = transaction.failure->words;
    } else if (observer_ && !entry.changes.empty()) {
      tell([&] { observer_(entry.changes, entry.terms.origin); });
    }
    tell([&entry] { entry.done(std::move(entry.outcome)); });
  }
}
