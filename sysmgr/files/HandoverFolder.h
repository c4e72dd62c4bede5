// SPDX-License-Identifier: MIT
//
// Files for the programs that ask: the answer is a path, and who fetches the file deletes it. The
// rule to know: nobody else can read them or put one in, and those that nobody fetches go away.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "sysmgr/log/Outcome.h"

class HandoverFolder {
 public:
  // Files at a time; the oldest makes room. Some dozens of pages are made at a time, each with one
  // file, which is fetched at once.
  static constexpr std::size_t kMaxFiles = 64;

  // A file is not taken away before whoever asked for it has had this time to fetch it. Rather, the
  // next one is refused.
  static constexpr std::int64_t kSafeSeconds = 10;

  // A download follows its query at once; whatever is older was forgotten.
  static constexpr std::int64_t kMaxAgeSeconds = 600;

  using Clock = std::function<std::int64_t()>;  // seconds, never runs backwards

  // Makes the folder with mode 0700, or takes one of that mode that belongs to our user, and
  // removes everything in it. Throws StartFailure when the folder is another's, a link, or open to
  // others.
  HandoverFolder(std::string path, Clock clock);

  // Removes what is left.
  ~HandoverFolder();
  HandoverFolder(const HandoverFolder&) = delete;
  HandoverFolder& operator=(const HandoverFolder&) = delete;

  // Makes a file of mode 0600, named like "<prefix>XXXXXX<suffix>" with six random characters, and
  // tells its path. Fails when there is no room or it can't be made, with a record in the log.
  Outcome Put(std::string_view prefix, std::string_view suffix, std::string_view content,
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

  void RemoveOldest();
  bool MakeRoom();

  std::string path_;
  Clock clock_;
  std::deque<File> files_;  // the oldest first
};
