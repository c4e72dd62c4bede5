// SPDX-License-Identifier: MIT
//
// In each turn a connection reads, answers whole requests, and sends. The rest decides which event
// it waits for.
#include "sysmgr/service/Connection.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "platform/Netstring.h"
#include "sysmgr/log/Log.h"

namespace {

// An empty buffer with more capacity than this is freed.
constexpr std::size_t kKeptCapacity = 4096;

// How often, within the deadline, a client that takes no answer is looked at.
constexpr int kLooks = 10;

void Release(std::string& buffer) {
  if (buffer.capacity() > kKeptCapacity) {
    std::string().swap(buffer);
  } else {
    buffer.clear();
  }
}

}  // namespace

Connection::Connection(Owner& owner, Descriptor descriptor, int deadlineMilliseconds)
    : owner_(owner),
      descriptor_(std::move(descriptor)),
      deadline_(TimeOf(deadlineMilliseconds)),
      look_(TimeOf(deadlineMilliseconds / kLooks)),
      activity_(owner.CountActivity()),
      self_(std::make_shared<Connection*>(this)),
      takeAnswer_(TakerOfAnswers()),
      tables_(std::make_shared<Device::Tables>()) {
  event_base* const loop = owner_.Loop();
  const int number = descriptor_.Number();
  readEvent_.reset(event_new(loop, number, EV_READ | EV_PERSIST, OnRead, this));
  writeEvent_.reset(event_new(loop, number, EV_WRITE, OnWrite, this));
  deadlineEvent_.reset(evtimer_new(loop, OnDeadline, this));
  if (!readEvent_ || !writeEvent_ || !deadlineEvent_) throw std::bad_alloc();
}

Connection::~Connection() {
  *self_ = nullptr;
}

void Connection::Start() {
  AddEvent(readEvent_);
}

bool Connection::IsUnfinished() const {
  return evtimer_pending(deadlineEvent_.get(), nullptr) != 0;
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
  if (verdict == Verdict::kClose) self->owner_.Remove(*self);
}

void Connection::OnRead(int, short, void* connection) {
  Guard(connection, [](Connection& self) { return self.Read(); });
}

void Connection::OnWrite(int, short what, void* connection) {
  Guard(connection, [what](Connection& self) {
    return (what & EV_TIMEOUT) == 0 ? self.Turn(Allowance::kQuick) : self.CheckProgress();
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

Dispatcher::Later Connection::TakerOfAnswers() {
  return [self = self_](std::string_view answer) {
    if (*self == nullptr) return;
    Guard(*self, [answer](Connection& connection) {
      connection.isAwaiting_ = false;
      connection.output_ += answer;
      connection.CountPending();
      return connection.Turn(Allowance::kQuick);
    });
  };
}

Connection::Verdict Connection::Read() {
  static char buffer[kReadBytes];
  const ssize_t count = read(descriptor_.Number(), buffer, sizeof buffer);
  if (count < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? Verdict::kKeep
                                                                     : Verdict::kClose;
  }
  if (count == 0) ended_ = true;
  activity_ = owner_.CountActivity();
  if (input_.empty()) requestBegin_ = activity_;
  input_.append(buffer, static_cast<std::size_t>(count));
  const Verdict verdict = Turn(Allowance::kQuick);
  if (verdict == Verdict::kKeep) CountInput();
  return verdict;
}

Connection::Verdict Connection::Turn(Allowance allowance) {
  if (!Send()) return Verdict::kClose;
  Work work = Work::kNone;
  // Further requests wait while an answer is not there or has not been taken.
  if (UnsentBytes() == 0 && !isAwaiting_) {
    work = AnswerRequests(allowance);
    if (!Send() || work == Work::kBroken) return Verdict::kClose;
  }
  if (UnsentBytes() > 0) {
    event_del(readEvent_.get());
    evtimer_del(deadlineEvent_.get());
    idleLooks_ = 0;
    WaitForRoom();
    return Verdict::kKeep;
  }
  if (isAwaiting_) {
    event_del(readEvent_.get());
    evtimer_del(deadlineEvent_.get());
    return Verdict::kKeep;
  }
  if (work == Work::kMore) {
    event_del(readEvent_.get());
    evtimer_del(deadlineEvent_.get());
    owner_.Queue(*this);
    return Verdict::kKeep;
  }
  return WaitForClient();
}

Connection::Work Connection::AnswerRequests(Allowance allowance) {
  std::string_view rest = input_;
  Work work = Work::kMore;
  int answered = 0;
  for (; answered < kRequestsPerTurn && output_.size() < kSendBytes; ++answered) {
    const Netstring::Piece piece = Netstring::Read(rest, kMaxRequestBytes);
    if (piece.status == Netstring::Status::kPartial) {
      work = Work::kNone;
      break;
    }
    const bool isQuick = piece.size <= kQuickRequestBytes && !Dispatcher::IsSet(piece.bytes);
    if (!isQuick && (allowance == Allowance::kQuick || answered > 0)) break;
    const auto progress = piece.status == Netstring::Status::kMalformed
                              ? Dispatcher::Progress::kNoRequest
                              : owner_.Answer(piece.bytes, output_, takeAnswer_, tables_);
    if (progress == Dispatcher::Progress::kNoRequest) {
      Log::WriteAboutClient("a client is disconnected: it does not speak the protocol");
      work = Work::kBroken;
      break;
    }
    rest.remove_prefix(piece.size);
    isAwaiting_ = progress == Dispatcher::Progress::kLater;
    if (!isQuick || isAwaiting_) {
      // Ends the turn: other ready connections come before the next request.
      ++answered;
      break;
    }
  }
  CountPending();
  if (answered == 0) return work;
  // The next request gets the full time.
  evtimer_del(deadlineEvent_.get());
  DropAnswered(rest.size());
  return input_.empty() ? Work::kNone : work;
}

void Connection::DropAnswered(std::size_t rest) {
  if (rest == 0) {
    Release(input_);
  } else if (input_.capacity() > kKeptCapacity && rest < input_.capacity() / 4) {
    // Copies the rest, because erasing would keep the memory of answered requests.
    std::string(input_, input_.size() - rest).swap(input_);
  } else {
    input_.erase(0, input_.size() - rest);
  }
  requestBegin_ = owner_.CountActivity();
  CountInput();
}

std::size_t Connection::NextPiece() const {
  const std::size_t unsent = UnsentBytes();
  if (unsent <= kPieceBytes) return unsent;
  return unsent <= kWholeBytes && QueuedBytes() == 0 ? unsent : kPieceBytes;
}

bool Connection::Send() {
  bool fine = true;
  while (UnsentBytes() > 0) {
    const ssize_t count = send(descriptor_.Number(), output_.data() + sent_, NextPiece(),
                               MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      fine = errno == EAGAIN || errno == EWOULDBLOCK;
      break;
    }
    sent_ += static_cast<std::size_t>(count);
    activity_ = owner_.CountActivity();
  }
  if (UnsentBytes() == 0) {
    sent_ = 0;
    Release(output_);
  }
  CountPending();
  return fine;
}

int Connection::QueuedBytes() const {
  int bytes = 0;
  return ioctl(descriptor_.Number(), SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// There is room again when the client has taken most of what was sent, which takes a slow one long.
// So look from time to time whether it takes anything.
void Connection::WaitForRoom() {
  queuedBytes_ = QueuedBytes();
  AddEvent(writeEvent_, &look_);
}

Connection::Verdict Connection::CheckProgress() {
  idleLooks_ = QueuedBytes() < queuedBytes_ ? 0 : idleLooks_ + 1;
  if (idleLooks_ == kLooks) {
    Log::WriteAboutClient("a client is disconnected: it does not take its answer");
    return Verdict::kClose;
  }
  WaitForRoom();
  return Verdict::kKeep;
}

Connection::Verdict Connection::WaitForClient() {
  if (ended_) return Verdict::kClose;
  AddEvent(readEvent_);
  if (input_.empty()) {
    evtimer_del(deadlineEvent_.get());
  } else if (evtimer_pending(deadlineEvent_.get(), nullptr) == 0) {
    AddEvent(deadlineEvent_, &deadline_);
  }
  return Verdict::kKeep;
}

void Connection::CountPending() {
  const std::size_t before = std::exchange(pendingBytes_, UnsentBytes());
  if (before != pendingBytes_) owner_.ChangePending(before, *this);
}

void Connection::CountInput() {
  const std::size_t before = std::exchange(inputBytes_, input_.empty() ? 0 : input_.capacity());
  if (before != inputBytes_) owner_.ChangeInput(before, *this);
}
