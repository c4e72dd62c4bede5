// SPDX-License-Identifier: MIT
//
// Files for clients: the answer to a query is a path, and the client that fetches the file deletes
// it. The rule to know: no other user can read the files or add one, and files that are not fetched
// are removed after a while.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/log/Outcome.h"

class HandoverFolder {
 public:
  // The most files at a time; the oldest is removed for a new one. A device makes some dozens of
  // pages at a time, each with one file, which is fetched at once.
  static constexpr std::size_t kMaxFiles = 64;

  // A client has this time to fetch a file before it is removed for a new one; until then, a new
  // file is refused instead.
  static constexpr std::int64_t kSafeSeconds = 10;

  // The client fetches a file right after its query, so an older one has been forgotten.
  static constexpr std::int64_t kMaxAgeSeconds = 600;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // Makes the folder with mode 0700, or uses an existing one with that mode and our user as its
  // owner, and removes everything in it. Throws StartFailure when the folder belongs to another
  // user, is a link, or is open to others.
  HandoverFolder(std::string path, Clock clock);

  // Removes the remaining files.
  ~HandoverFolder();
  HandoverFolder(const HandoverFolder&) = delete;
  HandoverFolder& operator=(const HandoverFolder&) = delete;

  // Makes a file with mode 0600, named "<prefix>XXXXXX<suffix>" with six random characters, and
  // sets its path. Fails, and logs that, when there is no room or the file can't be made.
  Outcome Put(std::string_view prefix, std::string_view suffix, std::string_view content,
              std::string& path);

  // The same for a file that somebody keeps under its name, "<name><suffix>". While another one of
  // that name waits, it gets the other kind of name.
  Outcome PutNamed(const std::string& name, std::string_view suffix, std::string_view content,
                   std::string& path);

  // Removes all files.
  void RemoveAll();

  // Removes files older than kMaxAgeSeconds.
  void RemoveOld();

 private:
  struct File {
    std::string path;
    std::int64_t made;
  };

  Outcome Fill(const Descriptor& file, std::string_view content, const std::string& path);
  void RemoveOldest();
  bool MakeRoom();

  std::string path_;
  Clock clock_;
  std::deque<File> files_;  // the oldest first
};
