// SPDX-License-Identifier: MIT
#include "sysmgr/service/Authorisation.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

// The group may at most read, others may do nothing.
constexpr mode_t kForbiddenMode = S_IWGRP | S_IXGRP | S_IRWXO;

// Two changes within one step of the file system's clock have the same time. No step is longer.
constexpr std::time_t kClockStepSeconds = 1;

bool AreSame(const timespec& left, const timespec& right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

bool AreSame(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino &&
         left.st_size == right.st_size && AreSame(left.st_mtim, right.st_mtim) &&
         AreSame(left.st_ctim, right.st_ctim);
}

}  // namespace

Authorisation::Authorisation(std::string path, bool isOpen)
    : path_(std::move(path)), isOpen_(isOpen) {
  const std::string fault = Read();
  if (!fault.empty()) throw StartFailure(fault);
}

// Leaves the state at kNobody when something is wrong.
std::string Authorisation::Read() {
  state_ = State::kNobody;
  seen_ = {};
  secret_.clear();
  std::string secret;
  std::string fault = ReadSecret(secret);
  if (fault.empty() && !secret.empty()) {
    state_ = State::kSecret;
    secret_ = std::move(secret);
  }
  const std::time_t age = std::time(nullptr) - seen_.st_ctim.tv_sec;
  isSettled_ = age > kClockStepSeconds;
  return fault;
}

std::string Authorisation::ReadSecret(std::string& secret) {
  const std::string what = "authorisation file '" + path_ + "'";
  const OpenedFile file = OpenRegularFile(path_);
  if (file.error == ENOENT) {
    if (isOpen_) state_ = State::kEverybody;
    return isOpen_ ? "" : what + " is not there; without one, clients are served with --open only";
  }
  if (file.error != 0) return what + " can't be opened: " + std::strerror(file.error);
  seen_ = file.status;
  if (!file.IsRegular()) return what + " is not a regular file";
  if ((file.status.st_mode & kForbiddenMode) != 0) {
    return what + " is too open; its mode must be 0640 or less";
  }
  secret.resize(kMaxBytes + 2);  // one for the newline, one to detect a longer file
  const ssize_t count = ReadUpTo(file.descriptor.Number(), secret.data(), secret.size());
  if (count < 0) return what + " can't be read: " + std::strerror(errno);
  secret.resize(static_cast<std::size_t>(count));
  if (!secret.empty() && secret.back() == '\n') secret.pop_back();
  if (secret.empty()) return what + " is empty";
  if (secret.size() <= kMaxBytes) return "";
  return what + " is longer than " + std::to_string(kMaxBytes) + " bytes";
}

void Authorisation::ReadChanged(bool isTold) {
  const State state = state_;
  const std::string secret = secret_;
  const std::string fault = Read();
  if (!isTold && state == state_ && secret == secret_) return;
  if (!fault.empty()) {
    Log::Write(fault + ": nobody is authorised", Log::Priority::kError);
  } else {
    Log::Write(
        "authorisation file '" + path_ + "': " +
        (state_ == State::kEverybody ? "gone, none is expected" : "the secret is read again"));
  }
}

void Authorisation::Reload() {
  ReadChanged(true);
}

bool Authorisation::Admits(std::string_view shown) {
  struct stat now = {};
  if (stat(path_.c_str(), &now) != 0) now = {};
  if (!isSettled_ || !AreSame(now, seen_)) ReadChanged(false);
  if (state_ == State::kNobody) return false;
  // Volatile, so that the compiler doesn't end the loop at the first difference.
  volatile std::size_t difference = shown.size() ^ secret_.size();
  if (!secret_.empty()) {
    for (std::size_t i = 0; i < shown.size(); ++i) {
      const unsigned left = static_cast<unsigned char>(shown[i]);
      const unsigned right = static_cast<unsigned char>(secret_[i % secret_.size()]);
      difference = difference | (left ^ right);
    }
  }
  return difference == 0;
}
