// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library, so they must not throw.
#include "sysmgr/service/Server.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr mode_t kFolderMode = 0750;
constexpr mode_t kForbiddenFolderMode = S_IWGRP | S_IRWXO;
constexpr mode_t kSocketMask = 0117;  // leaves 0660
constexpr int kBacklog = 256;

// New clients accepted in one turn of the loop, before other events get theirs.
constexpr int kAcceptsPerTurn = 32;

// The pause after a failure: while no descriptor is left, every accept fails at once.
constexpr timeval kAcceptPause = {0, 100000};
constexpr timeval kNextRound = {0, 0};

std::string Error() {
  return std::strerror(errno);
}

timeval Time(int milliseconds) {
  return {milliseconds / 1000, milliseconds % 1000 * 1000L};
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

// Returns 0, or the error number.
int Connect(const sockaddr_un& address) {
  const Descriptor own = MakeSocket();
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  return own.IsOpen() && connect(own.Number(), to, sizeof address) == 0 ? 0 : errno;
}

void PrepareFolder(const std::string& socketPath) {
  const std::size_t slash = socketPath.rfind('/');
  if (slash == std::string::npos) {
    throw StartFailure("socket '" + socketPath + "': its path must name a folder");
  }
  const std::string folder = slash == 0 ? "/" : socketPath.substr(0, slash);
  if (mkdir(folder.c_str(), kFolderMode) == 0) {
    // The process's umask may have removed permissions that clients need.
    if (chmod(folder.c_str(), kFolderMode) == 0) return;
  } else if (errno != EEXIST) {
    throw StartFailure("socket's folder '" + folder + "' can't be made: " + Error());
  }
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    throw StartFailure("socket's folder '" + folder + "' is no folder");
  }
  if ((status.st_mode & kForbiddenFolderMode) != 0) {
    throw StartFailure("socket's folder '" + folder +
                       "' is too open; its mode must be 0750 or less");
  }
}

// Raises the limit on open files to fit the connections; returns how many connections it allows.
std::size_t ReserveDescriptors(std::size_t connections) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return connections;
  const rlim_t wanted = connections + Server::kOtherDescriptors;
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = std::min<rlim_t>(wanted, limit.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) {
      throw StartFailure("the limit on open files can't be raised: " + Error());
    }
  }
  if (limit.rlim_cur >= wanted) return connections;
  if (limit.rlim_cur <= Server::kOtherDescriptors) {
    throw StartFailure("the limit on open files is too low");
  }
  return static_cast<std::size_t>(limit.rlim_cur) - Server::kOtherDescriptors;
}

}  // namespace

Server::Server(const std::string& socketPath, Dispatcher& dispatcher, std::function<void()> onTimer,
               int deadlineMilliseconds)
    : socketPath_(socketPath),
      dispatcher_(dispatcher),
      onTimer_(std::move(onTimer)),
      deadline_(Time(deadlineMilliseconds)),
      base_(event_base_new()) {
  if (base_ == nullptr) throw StartFailure("the event loop can't be set up");
  maxConnections_ = ReserveDescriptors(kMaxConnections);
  Listen();
  AddSignals();
  if (onTimer_) AddTimer();
}

Server::~Server() {
  if (socketIsOurs_) unlink(socketPath_.c_str());
}

void Server::Listen() {
  const sockaddr_un address = Address(socketPath_);
  PrepareFolder(socketPath_);
  struct stat status {};
  if (lstat(socketPath_.c_str(), &status) == 0) {
    if (!S_ISSOCK(status.st_mode)) {
      throw StartFailure("'" + socketPath_ + "' is there and no socket");
    }
    // The socket belongs to a killed service or to a running one.
    if (Connect(address) != ECONNREFUSED) {
      throw StartFailure("another service listens on '" + socketPath_ + "'");
    }
    unlink(socketPath_.c_str());
  }
  listener_ = MakeSocket();
  const int listener = listener_.Number();
  const mode_t mask = umask(kSocketMask);
  const bool bound =
      listener_.IsOpen() &&
      bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const std::string error = Error();
  umask(mask);
  if (!bound) throw StartFailure("socket '" + socketPath_ + "' can't be made: " + error);
  socketIsOurs_ = true;
  if (listen(listener, kBacklog) != 0) {
    throw StartFailure("socket '" + socketPath_ + "' can't be listened on: " + Error());
  }
  acceptEvent_.reset(event_new(base_.get(), listener, EV_READ | EV_PERSIST, OnAccept, this));
  acceptPause_.reset(evtimer_new(base_.get(), OnAcceptPause, this));
  queueEvent_.reset(evtimer_new(base_.get(), OnQueue, this));
  if (acceptEvent_ == nullptr || acceptPause_ == nullptr || queueEvent_ == nullptr ||
      event_add(acceptEvent_.get(), nullptr) != 0) {
    throw StartFailure("the event loop can't be set up");
  }
}

void Server::AddSignals() {
  // A write to a closed connection fails instead of ending the process.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  // So does a write beyond a file size limit.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    signals_.emplace_back(evsignal_new(base_.get(), number, OnSignal, this));
    if (signals_.back() == nullptr || event_add(signals_.back().get(), nullptr) != 0) {
      throw StartFailure("signals can't be handled");
    }
  }
}

void Server::AddTimer() {
  constexpr timeval kInterval = {kTimerSeconds, 0};
  timerEvent_.reset(event_new(base_.get(), -1, EV_PERSIST, OnTimer, this));
  if (timerEvent_ == nullptr || event_add(timerEvent_.get(), &kInterval) != 0) {
    throw StartFailure("the timer can't be set up");
  }
}

void Server::RunSteps(int milliseconds, std::function<bool()> step) {
  const timeval interval = Time(milliseconds);
  stepEvent_.reset(event_new(base_.get(), -1, EV_PERSIST, OnStep, this));
  if (stepEvent_ == nullptr) throw std::runtime_error("the event loop takes no more events");
  AddEvent(stepEvent_, &interval);
  step_ = std::move(step);
}

void Server::Run() {
  Log::Write("ready on '" + socketPath_ + "'");
  if (event_base_dispatch(base_.get()) != 0 || failed_) {
    throw StartFailure("the event loop failed");
  }
}

void Server::OnSignal(int number, short, void* server) {
  Log::Write("ending on signal " + std::to_string(number));
  event_base_loopbreak(static_cast<Server*>(server)->base_.get());
}

void Server::OnTimer(int, short, void* server) {
  try {
    static_cast<Server*>(server)->onTimer_();
  } catch (const std::exception& error) {
    Log::Write("what is due regularly failed: " + std::string(error.what()));
  }
}

void Server::OnStep(int, short, void* server) {
  auto* const self = static_cast<Server*>(server);
  bool goesOn = false;
  try {
    goesOn = self->step_();
  } catch (const std::exception& error) {
    Log::Write("a step failed: " + std::string(error.what()));
  }
  if (!goesOn) event_del(self->stepEvent_.get());
}

void Server::OnAccept(int, short, void* server) {
  try {
    static_cast<Server*>(server)->Accept();
  } catch (const std::exception& error) {
    Log::WriteAboutClient("a client could not be accepted: " + std::string(error.what()));
  }
}

void Server::OnAcceptPause(int, short, void* server) {
  auto* const self = static_cast<Server*>(server);
  if (event_add(self->acceptEvent_.get(), nullptr) == 0 ||
      evtimer_add(self->acceptPause_.get(), &kAcceptPause) == 0) {
    return;
  }
  self->failed_ = true;
  event_base_loopbreak(self->base_.get());
}

void Server::OnQueue(int, short, void* server) {
  auto* const self = static_cast<Server*>(server);
  if (self->queue_.empty()) return;
  Connection* const connection = self->queue_.front();
  self->queue_.pop_front();
  if (!self->queue_.empty() && evtimer_add(self->queueEvent_.get(), &kNextRound) != 0) {
    Log::WriteAboutClient("clients are disconnected: they can't be queued");
    while (!self->queue_.empty()) self->Remove(*self->queue_.front());
  }
  connection->TakeQueuedTurn();
}

void Server::Queue(Connection& connection) {
  AddEvent(queueEvent_, &kNextRound);
  queue_.push_back(&connection);
}

void Server::Accept() {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    Descriptor descriptor(
        accept4(listener_.Number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!descriptor.IsOpen()) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      Log::WriteAboutClient("accepting a client failed: " + Error());
      if (evtimer_add(acceptPause_.get(), &kAcceptPause) == 0) event_del(acceptEvent_.get());
      return;
    }
    if (connections_.size() >= maxConnections_) MakeRoom();
    Connection::Owner& owner = *this;
    auto connection = std::make_unique<Connection>(owner, std::move(descriptor), deadline_);
    connection->Start();
    connections_.push_back(std::move(connection));
  }
}

void Server::MakeRoom() {
  enum Rank { kUnfinished, kIdle, kBusy };
  const auto rank = [](const Connection& connection) {
    if (connection.IsUnfinished()) return kUnfinished;
    return connection.IsIdle() ? kIdle : kBusy;
  };
  const auto order = [&rank](const Connection& connection) {
    const Rank place = rank(connection);
    return std::make_pair(
        place, place == kUnfinished ? connection.RequestBegin() : connection.LastActivity());
  };
  const auto victim = std::min_element(
      connections_.begin(), connections_.end(),
      [&order](const auto& left, const auto& right) { return order(*left) < order(*right); });
  const char* const kWhich[] = {"whose request has been unfinished for longest",
                                "that has been idle for longest",
                                "that has been waiting for longest"};
  Log::WriteAboutClient("too many clients: the one " + std::string(kWhich[rank(**victim)]) +
                        " is disconnected");
  Remove(**victim);
}

void Server::Remove(Connection& connection) {
  pendingBytes_ -= connection.PendingBytes();
  inputBytes_ -= connection.InputBytes();
  queue_.remove(&connection);
  connections_.remove_if([&connection](const auto& entry) { return entry.get() == &connection; });
}

void Server::ChangePending(std::size_t before, const Connection& by) {
  pendingBytes_ -= before;
  pendingBytes_ += by.PendingBytes();
  while (pendingBytes_ > kMaxPendingBytes) {
    // The connection whose answer is growing is being served, and has a limit of its own.
    Connection* victim = nullptr;
    for (const auto& entry : connections_) {
      if (entry.get() == &by || entry->PendingBytes() == 0) continue;
      if (victim == nullptr || entry->LastActivity() < victim->LastActivity()) victim = entry.get();
    }
    if (victim == nullptr) return;
    Log::WriteAboutClient("too many answers wait: a client that does not read is disconnected");
    Remove(*victim);
  }
}

void Server::ChangeInput(std::size_t before, const Connection& by) {
  inputBytes_ -= before;
  inputBytes_ += by.InputBytes();
  while (inputBytes_ > kMaxInputBytes) {
    // Never drop the connection now being served; one alone can't exceed the limit. Clients that
    // wait for the service are dropped after those that keep it waiting.
    const auto order = [](const Connection& connection) {
      return std::make_pair(!connection.IsUnfinished(), connection.RequestBegin());
    };
    Connection* victim = nullptr;
    for (const auto& entry : connections_) {
      if (entry.get() == &by || entry->InputBytes() == 0) continue;
      if (victim == nullptr || order(*entry) < order(*victim)) victim = entry.get();
    }
    if (victim == nullptr) return;
    Log::WriteAboutClient(
        "too many requests wait: the client whose request began first is "
        "disconnected");
    Remove(*victim);
  }
}
