// SPDX-License-Identifier: MIT
//
// The age of files is kept in memory, by the monotonic clock, so files of an earlier service are
// removed at the start.
#include "sysmgr/files/HandoverFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "base/Transfer.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kForbiddenFolderMode = S_IRWXG | S_IRWXO;

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
  throw StartFailure("folder '" + path + "' for files to fetch " + what);
}

// Makes the folder above too; it belongs to the socket, which is made later.
void MakeFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) Fail(path, "must be named with the one above it");
  const std::string above = path.substr(0, slash);
  constexpr mode_t kAboveMode = 0750;
  if (mkdir(above.c_str(), kAboveMode) == 0) chmod(above.c_str(), kAboveMode);
  if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST) {
    Fail(path, "can't be made: " + std::string(std::strerror(errno)));
  }
}

// Removes every file in the open folder.
void Empty(const std::string& path, Descriptor folder) {
  struct Closer {
    void operator()(DIR* directory) const { closedir(directory); }
  };
  const std::unique_ptr<DIR, Closer> directory(fdopendir(dup(folder.Number())));
  if (directory == nullptr) Fail(path, "can't be read: " + std::string(std::strerror(errno)));
  while (const dirent* entry = readdir(directory.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (unlinkat(folder.Number(), entry->d_name, 0) != 0) {
      Fail(path, "holds what can't be removed: " + std::string(std::strerror(errno)));
    }
  }
}

}  // namespace

HandoverFolder::HandoverFolder(std::string path, Clock clock)
    : path_(std::move(path)), clock_(std::move(clock)) {
  MakeFolder(path_);
  Descriptor folder(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder.IsOpen()) Fail(path_, "can't be used: " + std::string(std::strerror(errno)));
  struct stat status {};
  if (fstat(folder.Number(), &status) != 0 || status.st_uid != geteuid()) {
    Fail(path_, "belongs to somebody else");
  }
  if ((status.st_mode & kForbiddenFolderMode) != 0) {
    Fail(path_, "is too open; its mode must be 0700");
  }
  Empty(path_, std::move(folder));
}

HandoverFolder::~HandoverFolder() {
  RemoveAll();
}

void HandoverFolder::RemoveAll() {
  while (!files_.empty()) RemoveOldest();
}

void HandoverFolder::RemoveOldest() {
  // The client may have fetched and removed the file.
  unlink(files_.front().path.c_str());
  files_.pop_front();
}

void HandoverFolder::RemoveOld() {
  const std::int64_t now = clock_();
  while (!files_.empty() && now - files_.front().made > kMaxAgeSeconds) RemoveOldest();
}

// Returns false when all files of the full folder may still be fetched.
bool HandoverFolder::MakeRoom() {
  if (files_.size() < kMaxFiles) return true;
  // Clients have fetched and removed most files.
  const auto isGone = [](const File& file) { return access(file.path.c_str(), F_OK) != 0; };
  files_.erase(std::remove_if(files_.begin(), files_.end(), isGone), files_.end());
  if (files_.size() < kMaxFiles) return true;
  if (clock_() - files_.front().made < kSafeSeconds) return false;
  RemoveOldest();
  return true;
}

Outcome HandoverFolder::Put(std::string_view prefix, std::string_view suffix,
                            std::string_view content, std::string& path) {
  RemoveOld();
  if (!MakeRoom()) {
    Log::WriteAboutClient("'" + path_ + "' is full of files that nobody has fetched yet");
    return Sentence::kFilesWaiting;
  }
  path = path_ + "/";
  path.append(prefix).append("XXXXXX").append(suffix);
  // mkostemps makes the file with mode 0600.
  const Descriptor file(mkostemps(path.data(), static_cast<int>(suffix.size()), O_CLOEXEC));
  return Fill(file, content, path);
}

Outcome HandoverFolder::PutNamed(const std::string& name, std::string_view suffix,
                                 std::string_view content, std::string& path) {
  RemoveOld();
  path = path_ + "/" + name;
  path += suffix;
  if (access(path.c_str(), F_OK) == 0) return Put(name + "-", suffix, content, path);
  const std::string named = path;
  Outcome outcome = Put(name + "-", suffix, content, path);
  if (!outcome.IsSuccess() || rename(path.c_str(), named.c_str()) != 0) return outcome;
  // One of that name was fetched; forgets it, so that this one does not go at the other's time.
  const auto last = files_.end() - 1;
  files_.erase(std::remove_if(files_.begin(), last,
                              [&named](const File& file) { return file.path == named; }),
               last);
  files_.back().path = path = named;
  return outcome;
}

Outcome HandoverFolder::Fill(const Descriptor& file, std::string_view content,
                             const std::string& path) {
  if (file.IsOpen()) {
    if (WriteAll(file.Number(), content)) {
      files_.push_back({path, clock_()});
      return {};
    }
    const int error = errno;
    unlink(path.c_str());
    errno = error;
  }
  Log::Write("a file can't be put into '" + path_ + "': " + std::strerror(errno),
             Log::Priority::kError);
  return Sentence::kFileNotMade;
}
