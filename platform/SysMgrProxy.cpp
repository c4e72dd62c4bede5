// SPDX-License-Identifier: MIT
#include "platform/SysMgrProxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/Number.h"
#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "platform/Netstring.h"
#include "platform/StringTable.h"

namespace {

// The pause before the next try when the system manager's queue is full.
constexpr int kConnectRetryMilliseconds = 10;

// The buffer for answers: its first size, which most answers fit into, and the least step by which
// it grows for a larger one. An announced length alone reserves no memory.
constexpr std::size_t kFirstReadBytes = 4096;
constexpr std::size_t kMinGrowthBytes = 65536;

constexpr char kNotReached[] =
    "The system manager could not be reached; the setting was not stored.";
constexpr char kNotAnswered[] =
    "The system manager did not answer; the setting may or may not be stored.";
constexpr char kRefused[] = "The system manager refused the request; the setting was not stored.";

long long Now() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Reads a result in decimal. Returns false when `text` is something else, or longer than any
// result.
bool ReadResult(std::string_view text, int& result) {
  constexpr unsigned kHighest = 999999999;
  unsigned number = 0;
  if (!ParseDecimal(text, number) || number > kHighest) return false;
  result = static_cast<int>(number);
  return true;
}

// An answer's payload; `reply` is a part of it.
bool ReadAnswer(std::string_view payload, int& result, std::string_view& reply) {
  std::string_view resultText;
  if (!Netstring::Take(payload, resultText) || !Netstring::Take(payload, reply)) return false;
  return payload.empty() && ReadResult(resultText, result);
}

// Whether a table can be the answer to a set of that many keys: a row for each, and one for all.
bool IsOutcome(const StringTable& table, unsigned keys) {
  return table.Columns() == 1 && (table.Rows() == keys || table.Rows() == keys + 1);
}

std::string SameForAll(unsigned keys, const char* text) {
  StringTable table(1);
  for (unsigned key = 0; key < keys; ++key) table.AddRow(text);
  return table.Serialize();
}

}  // namespace

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrInterface& service,
                         const std::string& authFile)
    : SysMgrProxy(name, service, authFile, VISTEL_SYSMGR_SOCKET) {}

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrInterface& /*service*/,
                         const std::string& authFile, const std::string& socketPath,
                         unsigned answerMilliseconds)
    : name_(name),
      authFile_(authFile),
      socketPath_(socketPath),
      answerMilliseconds_(answerMilliseconds) {}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  int result = kFailed;
  const std::string request = MakeRequest("query", client, query, option);
  if (Exchange(request, 1, result, reply) != Outcome::kAnswered) result = kFailed;
  if (result == kOk && !StringTable::IsSerialized(reply)) {
    // An answer of success is a table.
    Disconnect();
    result = kFailed;
    reply.clear();
  }
  if (result != kOk) {
    message_.swap(reply);
    reply.clear();
  }
  return result;
}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, StringTable& answer) {
  int result = kFailed;
  std::string reply;
  const std::string request = MakeRequest("query", client, query, option);
  if (Exchange(request, 1, result, reply) != Outcome::kAnswered) result = kFailed;
  return Finish(result, reply, answer);
}

bool SysMgrProxy::Ask(const std::string& client, const std::string& query,
                      const std::string& option) {
  if (gaveUp_ || !asksAhead_) return false;
  const std::string request = MakeRequest("query", client, query, option);
  if (request.empty() || request.size() > kMaxAheadBytes - asked_.size()) return false;
  asked_ += request;
  ++askedCount_;
  return true;
}

int SysMgrProxy::TakeAnswer(StringTable& answer) {
  const std::string_view requests = std::string_view(asked_).substr(answered_);
  const std::string_view request =
      requests.substr(0, Netstring::Read(requests, kMaxRequestBytes).size);
  int result = kFailed;
  std::string reply;
  // The answer is on its way if the request was sent behind an earlier one.
  if (coming_ > 0) {
    const long long deadline = Now() + answerMilliseconds_;
    message_.clear();
    if (Receive(deadline, result, reply)) {
      result = Finish(result, reply, answer);
    } else {
      Disconnect();
      gaveUp_ = Now() >= deadline;
      result = kFailed;
    }
    if (result == kFailed) asksAhead_ = false;
  }
  if (result == kFailed) {
    const std::string_view sent = asksAhead_ ? requests : request;
    const Outcome outcome = Exchange(sent, asksAhead_ ? askedCount_ : 1, result, reply);
    result = Finish(outcome == Outcome::kAnswered ? result : kFailed, reply, answer);
    if (result == kFailed) asksAhead_ = false;
  }
  answered_ += request.size();
  if (--askedCount_ == 0) {
    asked_.clear();
    answered_ = 0;
  }
  return result;
}

// What a query gives. An answer of success must be a table.
int SysMgrProxy::Finish(int result, std::string& reply, StringTable& answer) {
  if (result == kOk && !StringTable::Read(std::move(reply), answer)) {
    Disconnect();
    return kFailed;
  }
  if (result > kOk) message_.swap(reply);
  if (result != kOk) answer = StringTable();
  return result;
}

int SysMgrProxy::sSetKey(const std::string& client, const std::string& keys,
                         const std::string& values, std::string& reply) {
  const unsigned count = StringTable(keys, StringTable::kSerialized).Rows();
  int result = kFailed;
  Outcome outcome = Exchange(MakeRequest("set", client, keys, values), 1, result, reply);
  if (outcome == Outcome::kAnswered) {
    if (result != kOk) {
      message_.swap(reply);
      reply = SameForAll(count, kRefused);
      return result;
    }
    if (IsOutcome(StringTable(reply, StringTable::kSerialized), count)) return result;
    // An answer of success must have a row for each key.
    Disconnect();
    outcome = Outcome::kNoAnswer;
  }
  reply = SameForAll(count, outcome == Outcome::kNotSent ? kNotReached : kNotAnswered);
  return kFailed;
}

std::string SysMgrProxy::MakeRequest(std::string_view kind, std::string_view client,
                                     std::string_view first, std::string_view second) {
  if (!authorisationRead_) ReadAuthorisation();
  std::string payload;
  for (std::string_view part :
       {kind, std::string_view(name_), std::string_view(authorisation_), client, first, second}) {
    Netstring::Append(payload, part);
  }
  std::string request;
  if (payload.size() > kMaxRequestBytes) return request;
  request.reserve(payload.size() + Netstring::kMaxOverheadBytes);
  Netstring::Append(request, payload);
  return request;
}

SysMgrProxy::Outcome SysMgrProxy::Exchange(std::string_view requests, std::size_t count,
                                           int& result, std::string& reply) {
  reply.clear();
  message_.clear();
  if (gaveUp_ || requests.empty()) return Outcome::kNotSent;

  const long long deadline = Now() + answerMilliseconds_;
  if (socket_.IsOpen() && (coming_ > 0 || IsStale())) Disconnect();
  // A partly sent request has no effect: the system manager acts on whole ones only.
  Outcome outcome = Outcome::kNotSent;
  if ((socket_.IsOpen() || Connect(deadline)) && Send(requests, deadline)) {
    coming_ = count;
    if (Receive(deadline, result, reply)) return Outcome::kAnswered;
    outcome = Outcome::kNoAnswer;
  }
  Disconnect();
  reply.clear();
  gaveUp_ = Now() >= deadline;
  return outcome;
}

void SysMgrProxy::ReadAuthorisation() {
  authorisationRead_ = true;
  const OpenedFile file = OpenRegularFile(authFile_);
  if (!file.descriptor.IsOpen()) return;
  char buffer[kMaxAuthorisationBytes + 2];  // one more for the newline, one to detect a longer file
  const ssize_t count = ReadUpTo(file.descriptor.Number(), buffer, sizeof buffer);
  if (count < 0) return;
  auto size = static_cast<std::size_t>(count);
  if (size > 0 && buffer[size - 1] == '\n') --size;
  if (size > kMaxAuthorisationBytes) return;
  authorisation_.assign(buffer, size);
}

bool SysMgrProxy::Connect(long long deadline) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socketPath_.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, socketPath_.c_str(), socketPath_.size() + 1);

  socket_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_.IsOpen()) return false;
  const int number = socket_.Number();
  // When the queue is full, Linux fails at once instead of queueing the connection.
  while (connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (errno != EAGAIN && errno != EINTR) return false;
    if (Now() >= deadline) return false;
    poll(nullptr, 0, kConnectRetryMilliseconds);
  }
  return true;
}

bool SysMgrProxy::Send(std::string_view bytes, long long deadline) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket_.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!Wait(POLLOUT, deadline)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool SysMgrProxy::Receive(long long deadline, int& result, std::string& reply) {
  for (;;) {
    const std::string_view received = std::string_view(received_).substr(taken_, filled_ - taken_);
    const Netstring::Piece piece = Netstring::Read(received, kMaxAnswerBytes);
    if (piece.status == Netstring::Status::kMalformed) return false;
    if (piece.status == Netstring::Status::kWhole) {
      std::string_view place;
      if (!ReadAnswer(piece.bytes, result, place)) return false;
      taken_ += piece.size;
      TakeReply(place, reply);
      --coming_;
      // No request is left that further bytes could answer.
      if (coming_ == 0 && taken_ < filled_) Disconnect();
      return true;
    }
    if (!ReceiveMore(deadline, piece.size)) return false;
  }
}

// A large reply that nothing follows keeps the memory into which it was received.
void SysMgrProxy::TakeReply(std::string_view place, std::string& reply) {
  if (taken_ < filled_ || place.size() <= kFirstReadBytes) {
    reply.assign(place);
    return;
  }
  const auto offset = static_cast<std::size_t>(place.data() - received_.data());
  received_.resize(offset + place.size());
  received_.erase(0, offset);
  reply = std::move(received_);
  received_.clear();
  taken_ = filled_ = 0;
}

// Receives some of the answer that begins at taken_ and has `needed` bytes or more.
bool SysMgrProxy::ReceiveMore(long long deadline, std::size_t needed) {
  filled_ -= taken_;
  std::memmove(received_.data(), received_.data() + taken_, filled_);
  taken_ = 0;
  if (received_.size() < kFirstReadBytes) received_.resize(kFirstReadBytes);
  if (filled_ == received_.size()) {
    received_.resize(std::min(needed, std::max(filled_ * 4, kMinGrowthBytes)));
  }
  for (;;) {
    if (!Wait(POLLIN, deadline)) return false;
    const ssize_t count =
        recv(socket_.Number(), &received_[filled_], received_.size() - filled_, 0);
    if (count < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
    if (count <= 0) return false;
    filled_ += static_cast<std::size_t>(count);
    return true;
  }
}

// Whether `events`, or the end of the connection, came before the deadline.
bool SysMgrProxy::Wait(short events, long long deadline) {
  pollfd entry = {socket_.Number(), events, 0};
  for (;;) {
    const long long remaining = deadline - Now();
    if (remaining <= 0) return false;
    const int count = poll(&entry, 1, static_cast<int>(remaining));
    if (count > 0) return true;
    if (count < 0 && errno != EINTR) return false;
  }
}

// Whether the connection has ended, or holds bytes that nothing asked for.
bool SysMgrProxy::IsStale() const {
  char byte = 0;
  return recv(socket_.Number(), &byte, 1, MSG_DONTWAIT) >= 0 ||
         (errno != EAGAIN && errno != EWOULDBLOCK);
}

void SysMgrProxy::Disconnect() {
  socket_ = Descriptor();
  taken_ = filled_ = coming_ = 0;
}
