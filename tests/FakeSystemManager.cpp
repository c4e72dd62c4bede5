// SPDX-License-Identifier: MIT
#include "tests/FakeSystemManager.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "main/SvcMgrFunctions.h"
#include "platform/Netstring.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"

namespace {

constexpr int kPollMilliseconds = 5;
constexpr unsigned kDeadlineMilliseconds = 5000;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::abort();
}

bool WaitFor(int file, const std::atomic<bool>& stop) {
  pollfd entry = {file, POLLIN, 0};
  while (!stop) {
    if (poll(&entry, 1, kPollMilliseconds) > 0) return true;
  }
  return false;
}

}  // namespace

FakeSystemManager::FakeSystemManager(const std::string& path,
                                     std::function<Reaction(const Request&)> react)
    : path_(path), react_(std::move(react)), stop_(false), connections_(0) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  Require(path.copy(address.sun_path, sizeof address.sun_path - 1) == path.size(), "path");
  unlink(path.c_str());
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  Require(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
  Require(listen(listener_, 8) == 0, "listen");
  thread_ = std::thread([this] { Serve(); });
}

FakeSystemManager::~FakeSystemManager() {
  stop_ = true;
  thread_.join();
  close(listener_);
  unlink(path_.c_str());
}

std::vector<FakeSystemManager::Request> FakeSystemManager::Requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

void FakeSystemManager::Serve() {
  while (WaitFor(listener_, stop_)) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    Require(connection >= 0, "accept");
    ++connections_;
    Talk(connection);
    close(connection);
  }
}

void FakeSystemManager::Talk(int connection) {
  std::string received;
  char buffer[65536];
  while (WaitFor(connection, stop_)) {
    const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return;
    received.append(buffer, static_cast<std::size_t>(count));
    std::string_view left = received;
    std::string_view payload;
    if (!Netstring::Take(left, payload)) continue;

    Request request;
    for (std::string_view part; Netstring::Take(payload, part);) request.emplace_back(part);
    received.erase(0, received.size() - left.size());
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      requests_.push_back(request);
    }
    const Reaction reaction = react_(request);
    const std::size_t size = reaction.bytes.size();
    const std::size_t step = reaction.pieceBytes != 0 ? reaction.pieceBytes : size + 1;
    for (std::size_t i = 0; i < size; i += step) {
      const std::string part = reaction.bytes.substr(i, step);
      if (send(connection, part.data(), part.size(), MSG_NOSIGNAL) < 0) return;
      if (reaction.pieceBytes != 0) std::this_thread::yield();
    }
    if (reaction.close) return;
  }
}

void UseSystemManager(const std::string& socketPath) {
  static SvcMgrFunctions service;
  gSysMgr.~SysMgrProxy();
  new (&gSysMgr) SysMgrProxy("Vistel", service, "", socketPath, kDeadlineMilliseconds);
}
