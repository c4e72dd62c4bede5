// SPDX-License-Identifier: MIT
//
// After a power cut between two steps, doing the same again completes it.
#include "sysmgr/device/AsideFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <set>
#include <vector>

#include "base/Descriptor.h"
#include "base/FolderOf.h"
#include "base/Number.h"
#include "sysmgr/device/DiskError.h"

namespace {

constexpr const char* kVersionMark = ".version-";
constexpr const char* kDamagedMark = ".damaged-";

// The write-ahead log, and the journal of databases of earlier firmware.
constexpr const char* kCompanions[] = {"-wal", "-journal"};

void SyncFolder(const std::string& path) {
  const Descriptor folder(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen() || fsync(folder.Number()) != 0) {
    throw DiskError::FromErrno(errno, "its folder can't be synced");
  }
}

void Remove(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw DiskError::FromErrno(errno, "'" + path + "' can't be removed");
  }
}

// False when there is no such file.
bool Rename(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) == 0) return true;
  if (errno == ENOENT) return false;
  throw DiskError::FromErrno(errno, "'" + from + "' can't be renamed");
}

void RemoveWhole(const std::string& path) {
  Remove(path);
  for (const char* companion : kCompanions) Remove(path + companion);
}

// What follows `start` in the names of files that begin with it.
std::vector<std::string> Endings(const std::string& start) {
  std::vector<std::string> endings;
  const std::string name = start.substr(start.rfind('/') + 1);
  const auto end = [](DIR* folder) { closedir(folder); };
  const std::unique_ptr<DIR, decltype(end)> folder(opendir(FolderOf(start).c_str()), end);
  if (folder == nullptr) return endings;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string found = entry->d_name;
    if (found.compare(0, name.size(), name) == 0) endings.push_back(found.substr(name.size()));
  }
  return endings;
}

// The versions that are kept.
std::set<unsigned> Versions(const std::string& path) {
  std::set<unsigned> versions;
  for (const std::string& ending : Endings(path + kVersionMark)) {
    unsigned version = 0;
    if (ParseDecimal(ending, version)) versions.insert(version);
  }
  return versions;
}

}  // namespace

bool AsideFiles::Exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::string AsideFiles::NameFor(const std::string& path, unsigned version) {
  return path + kVersionMark + std::to_string(version);
}

void AsideFiles::Move(const std::string& from, const std::string& to) {
  // Without a database at `to`, the companions there are those that an interrupted move has moved.
  if (Exists(to)) RemoveWhole(to);
  bool moved = false;
  for (const char* companion : kCompanions) {
    if (Rename(from + companion, to + companion)) moved = true;
  }
  if (moved) SyncFolder(to);
  Rename(from, to);
  SyncFolder(to);
}

void AsideFiles::Place(const std::string& made, const std::string& path) {
  for (const char* companion : kCompanions) Remove(path + companion);
  Rename(made, path);
  SyncFolder(path);
}

std::string AsideFiles::PutVersion(const std::string& path, unsigned version) {
  std::string name = NameFor(path, version);
  Move(path, name);
  std::set<unsigned> others = Versions(path);
  others.erase(version);
  for (; others.size() >= kMaxVersions; others.erase(others.begin())) {
    RemoveWhole(NameFor(path, *others.begin()));
  }
  return name;
}

void AsideFiles::RemoveAll(const std::string& path) {
  for (const char* mark : {kVersionMark, kDamagedMark}) {
    const std::string start = path + mark;
    for (const std::string& ending : Endings(start)) Remove(start + ending);
  }
  SyncFolder(path);
}

std::string AsideFiles::PutDamaged(const std::string& path) {
  const auto name = [&path](int number) { return path + kDamagedMark + std::to_string(number); };
  for (int number = kMaxDamaged - 1; number > 0; --number) {
    if (Exists(name(number))) Move(name(number), name(number + 1));
  }
  Move(path, name(1));
  return name(1);
}
