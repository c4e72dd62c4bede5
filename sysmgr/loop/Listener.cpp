// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library: no exception leaves them.
#include "sysmgr/loop/Listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr mode_t kSocketFolderMode = 0750;
constexpr mode_t kForbiddenSocketFolderMode = S_IWGRP | S_IRWXO;
constexpr mode_t kAllBits = 0777;
constexpr int kBacklog = 256;

// Without a descriptor left, accepting fails at once, again and again.
constexpr timeval kPause = {0, 100000};

std::string Error() {
  return std::strerror(errno);
}

sockaddr_un Address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw StartFailure("socket '" + path + "': its path must have 1 to " +
                       std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

Descriptor MakeSocket() {
  return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// 0, or why it is impossible.
int Connect(const sockaddr_un& address) {
  const Descriptor own = MakeSocket();
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  return own.IsOpen() && connect(own.Number(), to, sizeof address) == 0 ? 0 : errno;
}

void PrepareFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    throw StartFailure("socket '" + path + "': its path must name a folder");
  }
  const std::string folder = slash == 0 ? "/" : path.substr(0, slash);
  if (mkdir(folder.c_str(), kSocketFolderMode) == 0) {
    // The caller's mask may have taken more away than the clients can do without.
    if (chmod(folder.c_str(), kSocketFolderMode) == 0) return;
  } else if (errno != EEXIST) {
    throw StartFailure("socket's folder '" + folder + "' can't be made: " + Error());
  }
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    throw StartFailure("socket's folder '" + folder + "' is no folder");
  }
  if ((status.st_mode & kForbiddenSocketFolderMode) != 0) {
    throw StartFailure("socket's folder '" + folder +
                       "' is too open; its mode must be 0750 or less");
  }
}

}  // namespace

Listener::Listener(std::string path, mode_t mode) : path_(std::move(path)) {
  try {
    Bind(mode);
  } catch (...) {
    if (isOurs_) unlink(path_.c_str());
    throw;
  }
}

Listener::~Listener() {
  if (isOurs_) unlink(path_.c_str());
}

void Listener::Bind(mode_t mode) {
  const sockaddr_un address = Address(path_);
  PrepareFolder(path_);
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0) {
    if (!S_ISSOCK(status.st_mode)) throw StartFailure("'" + path_ + "' is there and no socket");
    // Left behind by a service that was killed, or a service that runs.
    if (Connect(address) != ECONNREFUSED) {
      throw StartFailure("another service listens on '" + path_ + "'");
    }
    unlink(path_.c_str());
  }
  socket_ = MakeSocket();
  const mode_t mask = umask(kAllBits & ~mode);
  isOurs_ = socket_.IsOpen() && bind(socket_.Number(), reinterpret_cast<const sockaddr*>(&address),
                                     sizeof address) == 0;
  const std::string error = Error();
  umask(mask);
  if (!isOurs_) throw StartFailure("socket '" + path_ + "' can't be made: " + error);
  if (listen(socket_.Number(), kBacklog) != 0) {
    throw StartFailure("socket '" + path_ + "' can't be listened on: " + Error());
  }
}

void Listener::Accept(EventLoop& loop, Accepted accepted) {
  loop_ = &loop;
  accepted_ = std::move(accepted);
  acceptEvent_.reset(
      event_new(loop.Base(), socket_.Number(), EV_READ | EV_PERSIST, OnAccept, this));
  pause_.reset(evtimer_new(loop.Base(), OnPause, this));
  if (acceptEvent_ == nullptr || pause_ == nullptr || event_add(acceptEvent_.get(), nullptr) != 0) {
    throw StartFailure("the event loop can't be set up");
  }
}

void Listener::OnAccept(int, short, void* listener) {
  try {
    static_cast<Listener*>(listener)->AcceptSome();
  } catch (const std::exception& error) {
    Log::WriteAboutClient("a client could not be accepted: " + std::string(error.what()));
  }
}

void Listener::OnPause(int, short, void* listener) {
  auto* const self = static_cast<Listener*>(listener);
  if (event_add(self->acceptEvent_.get(), nullptr) != 0 &&
      evtimer_add(self->pause_.get(), &kPause) != 0) {
    self->loop_->Fail();
  }
}

void Listener::AcceptSome() {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    Descriptor connection(
        accept4(socket_.Number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (connection.IsOpen()) {
      accepted_(std::move(connection));
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return;
    Log::WriteAboutClient("accepting a client failed: " + Error());
    if (evtimer_add(pause_.get(), &kPause) == 0) event_del(acceptEvent_.get());
    return;
  }
}
