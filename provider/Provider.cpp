// SPDX-License-Identifier: MIT
//
// The socket blocks for writing: the service reads all the time, or ends the connection.
#include "provider/Provider.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/Netstring.h"

namespace {

constexpr const char* kVersion = "1";
constexpr std::size_t kMaxMessageBytes = std::size_t{16} << 20;
constexpr int kForever = -1;

std::string Column(const std::vector<std::string>& names) {
  if (names.empty()) return "";
  StringTable table(1);
  for (const std::string& name : names) table.AddCells({name});
  return table.Serialize();
}

Provider::Pairs ReadPairs(const std::string& text) {
  const StringTable table(text, StringTable::kSerialized);
  Provider::Pairs pairs;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    pairs.emplace_back(table.View(row, 0), table.View(row, 1));
  }
  return pairs;
}

const std::string* Find(const Provider::Pairs& pairs, std::string_view name) {
  const auto found = std::find_if(pairs.begin(), pairs.end(),
                                  [name](const auto& pair) { return pair.first == name; });
  return found == pairs.end() ? nullptr : &found->second;
}

}  // namespace

const std::string* Provider::Question::Selector(std::string_view name) const {
  return Find(selectors, name);
}

std::string_view Provider::Task::Parameter(std::string_view name) const {
  const std::string* found = Find(parameters, name);
  return found == nullptr ? std::string_view() : *found;
}

Provider::Answer Provider::Answer::Of(std::string_view value) {
  StringTable table(1);
  table.AddCells({value});
  return {std::move(table), ""};
}

void Provider::OfferPushedValue(const std::string& source) {
  offers_[source] = {"value", "pushed", {}, nullptr, nullptr};
}

void Provider::OfferPushedTable(const std::string& source, std::vector<std::string> columns) {
  offers_[source] = {"table", "pushed", std::move(columns), nullptr, nullptr};
}

void Provider::OfferValue(const std::string& source, std::vector<std::string> selectors,
                          Asked asked) {
  offers_[source] = {"value", "asked", std::move(selectors), std::move(asked), nullptr};
}

void Provider::OfferTable(const std::string& source, std::vector<std::string> columns,
                          Asked asked) {
  offers_[source] = {"table", "asked", std::move(columns), std::move(asked), nullptr};
}

void Provider::OfferFile(const std::string& source, std::vector<std::string> selectors,
                         Asked asked) {
  offers_[source] = {"file", "asked", std::move(selectors), std::move(asked), nullptr};
}

void Provider::OfferAction(const std::string& source, Act act) {
  offers_[source] = {"action", "", {}, nullptr, std::move(act)};
}

bool Provider::Connect(const std::string& socketPath) {
  input_.clear();
  later_.clear();
  problem_.clear();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) return Fail("the socket's path is too long");
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  socket_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (socket_.Number() < 0 ||
      connect(socket_.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return Fail("'" + socketPath + "' can't be reached: " + std::strerror(errno));
  }
  return Introduce();
}

bool Provider::Introduce() {
  Fields fields;
  if (!Send({"hello", kVersion, name_}) || !WaitFor("welcome", 3, fields)) return false;
  TakeWelcome(fields);
  for (const auto& [source, offer] : offers_) {
    if (!Send({"offer", offer.kind, source, offer.how, Column(offer.names), ""}) ||
        !WaitFor("offered", 3, fields)) {
      return false;
    }
    if (!fields[2].empty()) return Fail("'" + source + "' is refused: " + fields[2]);
  }
  return std::all_of(prefixes_.begin(), prefixes_.end(), [this](const std::string& prefix) {
    return Send({"subscribe", prefix});
  });
}

void Provider::TakeWelcome(const Fields& fields) {
  kept_.clear();
  for (auto& [name, value] : ReadPairs(fields[1])) kept_[name] = std::move(value);
  firmware_ = fields[2];
  ++keptChanges_;
}

bool Provider::Push(const std::string& source, std::string_view value) {
  return Push(source, Answer::Of(value).table);
}

bool Provider::Push(const std::string& source, const StringTable& table) {
  return Send({"push", source, table.Serialize()});
}

std::string Provider::Keep(const Pairs& texts) {
  StringTable table(2);
  for (const auto& [name, value] : texts) table.AddCells({name, value});
  Fields fields;
  if (!Send({"keep", table.Serialize()}) || !WaitFor("kept", 2, fields)) return problem_;
  if (!fields[1].empty()) return fields[1];
  ++keptChanges_;
  for (const auto& [name, value] : texts) {
    if (value.empty()) {
      kept_.erase(name);
    } else {
      kept_[name] = value;
    }
  }
  return "";
}

bool Provider::AddEvent(std::string_view sentence, std::string_view subject) {
  if (subject.empty()) return Send({"event", std::string(sentence)});
  return Send({"event", std::string(sentence), std::string(subject)});
}

bool Provider::Step(int timeoutMilliseconds) {
  Fields fields;
  if (!later_.empty()) {
    fields = std::move(later_.front());
    later_.pop_front();
    return Handle(fields);
  }
  return Receive(timeoutMilliseconds, fields) && (fields.empty() || Handle(fields));
}

bool Provider::Fail(std::string problem) {
  problem_ = std::move(problem);
  socket_ = Descriptor(-1);
  return false;
}

bool Provider::Send(const Fields& fields) {
  std::string payload;
  for (const std::string& field : fields) Netstring::Append(payload, field);
  std::string message;
  Netstring::Append(message, payload);
  std::string_view rest = message;
  while (!rest.empty()) {
    const ssize_t sent = send(socket_.Number(), rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return Fail("the service is gone");
    rest.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool Provider::Receive(int timeoutMilliseconds, Fields& fields) {
  fields.clear();
  if (!socket_.IsOpen()) return false;
  for (;;) {
    if (!TakeMessage(fields)) return false;
    if (!fields.empty()) return true;
    pollfd wait{socket_.Number(), POLLIN, 0};
    const int ready = poll(&wait, 1, timeoutMilliseconds);
    if (ready == 0 || (ready < 0 && errno == EINTR)) return true;
    if (ready < 0 || !ReadMore()) return Fail("the service is gone");
  }
}

bool Provider::ReadMore() {
  char buffer[65536];
  const ssize_t received = recv(socket_.Number(), buffer, sizeof buffer, 0);
  if (received < 0 && errno == EINTR) return true;
  if (received <= 0) return false;
  input_.append(buffer, static_cast<std::size_t>(received));
  return true;
}

// False when the input can't become a message. `fields` stays empty while it is incomplete.
bool Provider::TakeMessage(Fields& fields) {
  const Netstring::Piece piece = Netstring::Read(input_, kMaxMessageBytes);
  if (piece.status == Netstring::Status::kPartial) return true;
  std::string_view payload = piece.bytes;
  std::string_view field;
  while (Netstring::Take(payload, field)) fields.emplace_back(field);
  if (!payload.empty() || fields.empty()) return Fail("the service sent no message");
  input_.erase(0, piece.size);
  return true;
}

bool Provider::WaitFor(std::string_view kind, std::size_t count, Fields& fields) {
  while (Receive(kForever, fields)) {
    if (fields.empty()) continue;
    if (fields[0] == kind && fields.size() == count) return true;
    if (fields[0] != "ping") {
      later_.push_back(std::move(fields));
    } else if (!Send({"pong"})) {
      return false;
    }
  }
  return false;
}

bool Provider::Handle(const Fields& fields) {
  if (fields[0] == "ping") return Send({"pong"});
  if (fields[0] == "ask" && fields.size() == 6) return HandleAsk(fields);
  if (fields[0] == "act" && fields.size() == 6) return HandleAct(fields);
  if (fields[0] == "settings" && fields.size() == 3) {
    settingsId_ = fields[1];
    return (changed_ && !changed_(ReadPairs(fields[2]))) || SendApplied();
  }
  if (fields[0] == "welcome" && fields.size() == 3) TakeWelcome(fields);
  return true;  // of a newer version of the service
}

bool Provider::HandleAsk(const Fields& fields) {
  const auto offer = offers_.find(fields[2]);
  if (offer == offers_.end() || !offer->second.asked) {
    return Send({"answer", fields[1], "none", "is not offered"});
  }
  const Answer answer =
      offer->second.asked({ReadPairs(fields[3]), ReadPairs(fields[4]), fields[5]});
  if (!answer.reason.empty()) return Send({"answer", fields[1], "none", answer.reason});
  return Send({"answer", fields[1], "value", answer.table.Serialize()});
}

bool Provider::HandleAct(const Fields& fields) {
  const auto offer = offers_.find(fields[2]);
  if (offer == offers_.end() || !offer->second.act) {
    return Send({"done", fields[1], "The device does not know this action."});
  }
  return Send({"done", fields[1], offer->second.act({fields[3], ReadPairs(fields[4]), fields[5]})});
}
