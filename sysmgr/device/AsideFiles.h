// SPDX-License-Identifier: MIT
//
// Databases that this firmware can't use are kept beside the one in use, for who can:
//
//   settings.db.version-2   of firmware whose tables have version 2, which takes it back
//   settings.db.damaged-1   the last damaged one; -2 and -3 are older
//
// The rule to know: what SQLite keeps beside a database goes with it, first, and never stays for
// the next database of that name. All functions sync the folder, and throw DiskError.
#pragma once

#include <string>

namespace AsideFiles {

// The most that are kept: a device has little room, and nobody has three firmwares in turn.
inline constexpr int kMaxDamaged = 3;
inline constexpr int kMaxVersions = 3;

// Whether there is a file, even an empty one.
bool Exists(const std::string& path);

// The name under which the database `path` is kept for firmware with that version.
std::string NameFor(const std::string& path, unsigned version);

// Both put the database `path` aside and return its new name. One of the same version is replaced;
// those that are too many go, the lowest version and the oldest damaged one first.
std::string PutVersion(const std::string& path, unsigned version);
std::string PutDamaged(const std::string& path);

// Removes all that is kept.
void RemoveAll(const std::string& path);

// Moves a database with what belongs to it; what was at `to` goes.
void Move(const std::string& from, const std::string& to);

// Makes a new file, which has nothing beside it, the database `path`.
void Place(const std::string& made, const std::string& path);

}  // namespace AsideFiles
