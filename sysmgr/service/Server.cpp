// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library, so they must not throw.
#include "sysmgr/service/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "sysmgr/log/Failure.h"
#include "sysmgr/log/Log.h"

namespace {

// Raises the limit on open files to fit the connections; returns how many connections it allows.
std::size_t ReserveDescriptors(std::size_t connections) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return connections;
  const rlim_t wanted = connections + Server::kOtherDescriptors;
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = std::min<rlim_t>(wanted, limit.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) {
      throw StartFailure("the limit on open files can't be raised: " +
                         std::string(std::strerror(errno)));
    }
  }
  if (limit.rlim_cur >= wanted) return connections;
  if (limit.rlim_cur <= Server::kOtherDescriptors) {
    throw StartFailure("the limit on open files is too low");
  }
  return static_cast<std::size_t>(limit.rlim_cur) - Server::kOtherDescriptors;
}

}  // namespace

Server::Server(EventLoop& loop, Listener& listener, Dispatcher& dispatcher,
               int deadlineMilliseconds)
    : loop_(loop),
      dispatcher_(dispatcher),
      deadlineMilliseconds_(deadlineMilliseconds),
      maxConnections_(ReserveDescriptors(kMaxConnections)),
      queueEvent_(evtimer_new(loop.Base(), OnQueue, this)) {
  if (queueEvent_ == nullptr) throw StartFailure("the event loop can't be set up");
  listener.Accept(loop, [this](Descriptor descriptor) { Accept(std::move(descriptor)); });
}

void Server::OnQueue(int, short, void* server) {
  auto* const self = static_cast<Server*>(server);
  std::shared_ptr<Connection> connection;
  while (connection == nullptr && !self->queue_.empty()) {
    connection = self->queue_.front().lock();
    self->queue_.pop_front();
  }
  if (connection == nullptr) return;
  if (!self->queue_.empty() && evtimer_add(self->queueEvent_.get(), &kNextRound) != 0) {
    Log::WriteAboutClient("clients are disconnected: they can't be queued");
    for (const auto& waiting : std::exchange(self->queue_, {})) {
      if (const auto other = waiting.lock()) self->Remove(*other);
    }
  }
  connection->TakeQueuedTurn();
}

void Server::Queue(Connection& connection) {
  AddEvent(queueEvent_, &kNextRound);
  queue_.push_back(connection.weak_from_this());
}

void Server::Accept(Descriptor descriptor) {
  if (connections_.size() >= maxConnections_) MakeRoom();
  Connection::Owner& owner = *this;
  auto connection =
      std::make_shared<Connection>(owner, std::move(descriptor), deadlineMilliseconds_);
  connection->Start();
  connections_.push_back(std::move(connection));
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
  const auto found =
      std::find_if(connections_.begin(), connections_.end(),
                   [&connection](const auto& entry) { return entry.get() == &connection; });
  if (found == connections_.end()) return;
  pendingBytes_ -= connection.PendingBytes();
  inputBytes_ -= connection.InputBytes();
  connections_.erase(found);
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
