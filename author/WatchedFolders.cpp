// SPDX-License-Identifier: MIT
#include "author/WatchedFolders.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "author/system/Failure.h"

namespace fs = std::filesystem;

namespace {

// An editor writes a file, then renames it; both are one change.
constexpr int kQuietMilliseconds = 30;

}  // namespace

WatchedFolders::WatchedFolders(const std::string& folder)
    : events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (!events_.IsOpen()) throw Failure("can't watch folders");
  Add(folder);
  std::error_code failed;
  for (fs::recursive_directory_iterator entry(folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    std::error_code unknown;
    if (entry->is_directory(unknown)) Add(entry->path().string());
  }
}

void WatchedFolders::Add(const std::string& folder) {
  inotify_add_watch(events_.Number(), folder.c_str(),
                    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CREATE);
}

void WatchedFolders::AddFolderOf(const std::string& file) {
  Add(fs::absolute(file).parent_path().string());
}

void WatchedFolders::Wait() const {
  pollfd wait = {events_.Number(), POLLIN, 0};
  int milliseconds = -1;
  char events[4096];
  while (poll(&wait, 1, milliseconds) > 0) {
    while (read(events_.Number(), events, sizeof events) > 0) {
    }
    milliseconds = kQuietMilliseconds;
  }
}
