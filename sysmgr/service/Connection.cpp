// SPDX-License-Identifier: MIT
//
// A turn: read, answer what is whole, send. What then is left decides what is waited for.
#include "sysmgr/service/Connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "platform/Netstring.h"
#include "sysmgr/log/Log.h"

namespace {

// Buffers that once held something larger give their memory back when they are empty.
constexpr std::size_t kKeptCapacity = 4096;

void Release(std::string& buffer) {
  if (buffer.capacity() > kKeptCapacity) {
    std::string().swap(buffer);
  } else {
    buffer.clear();
  }
}

}  // namespace

Connection::Connection(Server& server, Descriptor descriptor)
    : server_(server), descriptor_(std::move(descriptor)), activity_(++server.activity_) {
  event_base* base = server.base_.get();
  const int number = descriptor_.Number();
  readEvent_.reset(event_new(base, number, EV_READ | EV_PERSIST, OnRead, this));
  writeEvent_.reset(event_new(base, number, EV_WRITE, OnWrite, this));
  deadline_.reset(evtimer_new(base, OnDeadline, this));
  if (!readEvent_ || !writeEvent_ || !deadline_) throw std::bad_alloc();
}

Connection::~Connection() {
  server_.pendingBytes_ -= countedPending_;
  server_.inputBytes_ -= countedInput_;
}

void Connection::Start() {
  Server::Add(readEvent_.get(), nullptr);
}

bool Connection::IsUnfinished() const {
  return evtimer_pending(deadline_.get(), nullptr) != 0;
}

template <typename Step>
void Connection::Guard(void* connection, Step step) {
  auto* const self = static_cast<Connection*>(connection);
  Verdict verdict = Verdict::kClose;
  try {
    verdict = step(*self);
  } catch (const std::exception& error) {
    Log::WriteAboutClient("a client is disconnected: " + std::string(error.what()));
  }
  if (verdict == Verdict::kClose) self->server_.Remove(self);
}

void Connection::OnRead(int, short, void* connection) {
  Guard(connection, [](Connection& self) { return self.Read(); });
}

void Connection::OnWrite(int, short what, void* connection) {
  Guard(connection, [what](Connection& self) {
    if ((what & EV_TIMEOUT) == 0) return self.Turn(Allowance::kQuick);
    Log::WriteAboutClient("a client is disconnected: it does not take its answer");
    return Verdict::kClose;
  });
}

void Connection::OnDeadline(int, short, void* connection) {
  Guard(connection, [](Connection&) {
    Log::WriteAboutClient("a client is disconnected: its request did not end in time");
    return Verdict::kClose;
  });
}

void Connection::TakeQueuedTurn() {
  Guard(this, [](Connection& self) { return self.Turn(Allowance::kAll); });
}

Connection::Verdict Connection::Read() {
  static char buffer[kReadBytes];
  const ssize_t count = read(descriptor_.Number(), buffer, sizeof buffer);
  if (count < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? Verdict::kKeep
                                                                     : Verdict::kClose;
  }
  if (count == 0) ended_ = true;
  activity_ = ++server_.activity_;
  if (input_.empty()) requestBegin_ = activity_;
  input_.append(buffer, static_cast<std::size_t>(count));
  const Verdict verdict = Turn(Allowance::kQuick);
  if (verdict == Verdict::kKeep) CountInput();
  return verdict;
}

Connection::Verdict Connection::Turn(Allowance allowance) {
  if (!Send()) return Verdict::kClose;
  Work work = Work::kNone;
  // What is behind an answer that isn't taken waits with it.
  if (PendingBytes() == 0) {
    work = AnswerRequests(allowance);
    if (!Send() || work == Work::kBroken) return Verdict::kClose;
  }
  if (PendingBytes() > 0) {
    event_del(readEvent_.get());
    evtimer_del(deadline_.get());
    Server::Add(writeEvent_.get(), &server_.deadline_);
    return Verdict::kKeep;
  }
  if (work == Work::kMore) {
    event_del(readEvent_.get());
    evtimer_del(deadline_.get());
    server_.Queue(this);
    return Verdict::kKeep;
  }
  return WaitForClient();
}

Connection::Work Connection::AnswerRequests(Allowance allowance) {
  std::string_view rest = input_;
  Work work = Work::kMore;
  int answered = 0;
  for (; answered < kRequestsPerTurn && output_.size() < kSendBytes; ++answered) {
    const Netstring::Piece piece = Netstring::Read(rest, Server::kMaxRequestBytes);
    if (piece.status == Netstring::Status::kPartial) {
      work = Work::kNone;
      break;
    }
    const bool isQuick = piece.size <= kQuickRequestBytes && !Dispatcher::IsSet(piece.bytes);
    if (!isQuick && (allowance == Allowance::kQuick || answered > 0)) break;
    if (piece.status == Netstring::Status::kMalformed ||
        !server_.dispatcher_.Answer(piece.bytes, output_)) {
      Log::WriteAboutClient("a client is disconnected: it does not speak the protocol");
      work = Work::kBroken;
      break;
    }
    rest.remove_prefix(piece.size);
    if (!isQuick) {
      // That was the turn: whoever is ready goes before the next request.
      ++answered;
      break;
    }
  }
  CountPending();
  if (answered == 0) return work;
  // The next request gets its own time.
  evtimer_del(deadline_.get());
  DropAnswered(rest.size());
  return input_.empty() ? Work::kNone : work;
}

void Connection::DropAnswered(std::size_t rest) {
  if (rest == 0) {
    Release(input_);
  } else if (input_.capacity() > kKeptCapacity && rest < input_.capacity() / 4) {
    // Erasing would keep the memory of what has been answered.
    std::string(input_, input_.size() - rest).swap(input_);
  } else {
    input_.erase(0, input_.size() - rest);
  }
  requestBegin_ = ++server_.activity_;
  CountInput();
}

bool Connection::Send() {
  bool fine = true;
  while (PendingBytes() > 0) {
    const ssize_t count = send(descriptor_.Number(), output_.data() + sent_, PendingBytes(),
                               MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      fine = errno == EAGAIN || errno == EWOULDBLOCK;
      break;
    }
    sent_ += static_cast<std::size_t>(count);
    activity_ = ++server_.activity_;
  }
  if (PendingBytes() == 0) {
    sent_ = 0;
    Release(output_);
  }
  CountPending();
  return fine;
}

Connection::Verdict Connection::WaitForClient() {
  if (ended_) return Verdict::kClose;
  Server::Add(readEvent_.get(), nullptr);
  if (input_.empty()) {
    evtimer_del(deadline_.get());
  } else if (evtimer_pending(deadline_.get(), nullptr) == 0) {
    Server::Add(deadline_.get(), &server_.deadline_);
  }
  return Verdict::kKeep;
}

void Connection::CountPending() {
  const std::size_t before = std::exchange(countedPending_, PendingBytes());
  if (before != countedPending_) server_.ChangePending(before, countedPending_, this);
}

void Connection::CountInput() {
  const std::size_t now = input_.empty() ? 0 : input_.capacity();
  const std::size_t before = std::exchange(countedInput_, now);
  if (before != countedInput_) server_.ChangeInput(before, countedInput_, this);
}
