// SPDX-License-Identifier: MIT
#include "sysmgr/service/Authorisation.h"

#include <cerrno>
#include <cstring>

#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "sysmgr/log/Failure.h"

namespace {

// The group may at most read, others may do nothing.
constexpr mode_t kForbiddenMode = S_IWGRP | S_IXGRP | S_IRWXO;

}  // namespace

Authorisation Authorisation::FromFile(const std::string& path) {
  const std::string what = "authorisation file '" + path + "'";
  const OpenedFile file = OpenRegularFile(path);
  if (file.error == ENOENT) return Authorisation();
  if (file.error != 0) throw StartFailure(what + " can't be opened: " + std::strerror(file.error));
  if (!file.IsRegular()) throw StartFailure(what + " is not a regular file");
  if ((file.status.st_mode & kForbiddenMode) != 0) {
    throw StartFailure(what + " is too open; its mode must be 0640 or less");
  }
  std::string secret(kMaxBytes + 2, '\0');  // one for the newline, one to detect a longer file
  const ssize_t count = ReadUpTo(file.descriptor.Number(), secret.data(), secret.size());
  if (count < 0) throw StartFailure(what + " can't be read: " + std::strerror(errno));
  secret.resize(static_cast<std::size_t>(count));
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
