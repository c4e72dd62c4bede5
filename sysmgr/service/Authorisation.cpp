// SPDX-License-Identifier: MIT
//
// The file is looked at through its open descriptor, so that it can't be exchanged between the
// look at its mode and the reading.
#include "sysmgr/service/Authorisation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/Descriptor.h"
#include "sysmgr/log/Failure.h"

namespace {

// The group reads at most, others do nothing.
constexpr mode_t kForbiddenMode = S_IWGRP | S_IXGRP | S_IRWXO;

}  // namespace

Authorisation Authorisation::FromFile(const std::string& path) {
  const std::string what = "authorisation file '" + path + "'";
  // Opening a named pipe would wait for its writer.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.Number() < 0) {
    if (errno == ENOENT) return Authorisation();
    throw StartFailure(what + " can't be opened: " + std::strerror(errno));
  }
  struct stat status {};
  if (fstat(file.Number(), &status) != 0) {
    throw StartFailure(what + " can't be examined: " + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) throw StartFailure(what + " is not a regular file");
  if ((status.st_mode & kForbiddenMode) != 0) {
    throw StartFailure(what + " is too open; its mode must be 0640 or less");
  }
  std::string secret;
  char buffer[kMaxBytes + 2];
  for (;;) {
    const ssize_t count = read(file.Number(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw StartFailure(what + " can't be read: " + std::strerror(errno));
    if (count == 0) break;
    secret.append(buffer, static_cast<std::size_t>(count));
    if (secret.size() > kMaxBytes + 1) break;
  }
  if (!secret.empty() && secret.back() == '\n') secret.pop_back();
  if (secret.empty()) throw StartFailure(what + " is empty");
  if (secret.size() > kMaxBytes) {
    throw StartFailure(what + " is longer than " + std::to_string(kMaxBytes) + " bytes");
  }
  Authorisation result;
  result.secret_ = std::move(secret);
  return result;
}

bool Authorisation::Matches(std::string_view shown) const {
  // Volatile, so that no compiler finds out that the answer can be known earlier.
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
