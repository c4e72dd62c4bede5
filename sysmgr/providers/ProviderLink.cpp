// SPDX-License-Identifier: MIT
//
// Callbacks come from a C library: no exception leaves them.
#include "sysmgr/providers/ProviderLink.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include "platform/Netstring.h"

namespace {

constexpr const char* kNoMessage = "it sends what is no message";

}  // namespace

ProviderLink::ProviderLink(Owner& owner, event_base* loop, Descriptor descriptor,
                           const ProviderPatience& patience)
    : owner_(owner),
      descriptor_(std::move(descriptor)),
      reply_(TimeOf(patience.reply)),
      silence_(TimeOf(patience.silence)) {
  const int number = descriptor_.Number();
  readEvent_.reset(event_new(loop, number, EV_READ | EV_PERSIST, OnRead, this));
  writeEvent_.reset(event_new(loop, number, EV_WRITE, OnWrite, this));
  turnEvent_.reset(evtimer_new(loop, OnTurn, this));
  deadline_.reset(evtimer_new(loop, OnDeadline, this));
  if (!readEvent_ || !writeEvent_ || !turnEvent_ || !deadline_) throw std::bad_alloc();
  AddEvent(readEvent_);
  AddEvent(deadline_, &reply_);
}

template <typename Step>
void ProviderLink::Guard(void* link, Step step) {
  auto* const self = static_cast<ProviderLink*>(link);
  std::string why;
  try {
    why = step(*self);
  } catch (const std::exception& error) {
    why = error.what();
  }
  if (!why.empty()) self->owner_.Remove(*self, why);
}

void ProviderLink::OnRead(int, short, void* link) {
  Guard(link, [](ProviderLink& self) { return self.Read(); });
}

void ProviderLink::OnWrite(int, short, void* link) {
  Guard(link, [](ProviderLink& self) { return self.Flush(); });
}

void ProviderLink::OnTurn(int, short, void* link) {
  Guard(link, [](ProviderLink& self) { return self.HandleMessages(); });
}

void ProviderLink::OnDeadline(int, short, void* link) {
  Guard(link, [](ProviderLink& self) { return self.OnSilence(); });
}

std::string ProviderLink::Read() {
  static char buffer[kReadBytes];
  const ssize_t count = read(descriptor_.Number(), buffer, sizeof buffer);
  if (count < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? "" : "its connection fails";
  }
  if (count == 0) return "it has closed the connection";
  input_.append(buffer, static_cast<std::size_t>(count));
  return HandleMessages();
}

std::string ProviderLink::HandleMessages() {
  std::string_view rest = input_;
  bool isPartial = false;
  int handled = 0;
  for (; handled < kMessagesPerTurn && !rest.empty(); ++handled) {
    const Netstring::Piece piece = Netstring::Read(rest, kMaxMessageBytes);
    isPartial = piece.status == Netstring::Status::kPartial;
    if (isPartial) break;
    if (piece.status == Netstring::Status::kMalformed) return kNoMessage;
    std::string_view payload = piece.bytes;
    std::string_view field;
    Fields fields;
    while (Netstring::Take(payload, field)) fields.push_back(field);
    if (!payload.empty() || fields.empty()) return kNoMessage;
    std::string why = owner_.Handle(*this, fields);
    if (!why.empty()) return why;
    rest.remove_prefix(piece.size);
  }
  const bool isWhole = handled > 0;
  input_.erase(0, input_.size() - rest.size());
  if (isWhole || !isPartial) expects_ = false;
  if (!isPartial && !input_.empty()) {
    event_del(readEvent_.get());
    AddEvent(turnEvent_, &kNextRound);
    return "";
  }
  AddEvent(readEvent_);
  if (isPartial && !expects_) {
    expects_ = true;
    AddEvent(deadline_, &reply_);
  } else if (!isPartial) {
    AddEvent(deadline_, &silence_);
  }
  return "";
}

void ProviderLink::Send(const Fields& fields) {
  std::string payload;
  for (const std::string_view field : fields) Netstring::Append(payload, field);
  Netstring::Append(output_, payload);
  AddEvent(writeEvent_);
}

std::string ProviderLink::Flush() {
  const ssize_t count =
      send(descriptor_.Number(), output_.data(), output_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
    return "its connection fails";
  }
  if (count > 0) output_.erase(0, static_cast<std::size_t>(count));
  if (output_.size() > kMaxPendingBytes) return "it does not read what it is sent";
  if (!output_.empty()) AddEvent(writeEvent_);
  return "";
}

std::string ProviderLink::OnSilence() {
  if (expects_) return "it is silent";
  expects_ = true;
  Send({"ping"});
  AddEvent(deadline_, &reply_);
  return "";
}
