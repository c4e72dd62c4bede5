// SPDX-License-Identifier: MIT
//
// Fields are views into the payload; only tables are copied.
#include "sysmgr/service/Dispatcher.h"

#include <array>
#include <cstddef>
#include <utility>

#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "sysmgr/log/Log.h"

namespace {

enum Field : std::size_t { kKind, kService, kAuthorisation, kClient, kFirst, kSecond, kFields };

std::string_view Shorten(std::string_view text) {
  return text.substr(0, Log::kMaxNameBytes);
}

// The word for the outcome of a request in the log.
const char* Verb(const Outcome& outcome) {
  switch (outcome.Kind()) {
    case OutcomeKind::kSuccess:
      return "done";
    case OutcomeKind::kDefective:
      return "failed";
    default:
      return "refused";
  }
}

// The part of the payload before the reply's bytes; a comma follows them.
std::string Head(int result, std::size_t replyBytes) {
  std::string head;
  Netstring::Append(head, std::to_string(result));
  return head.append(std::to_string(replyBytes)).append(":");
}

// Builds the message around the reply, which may be large and is copied only once.
void AppendAnswer(std::string& out, int result, std::string_view reply) {
  const std::string head = Head(result, reply.size());
  const std::string size = std::to_string(head.size() + reply.size() + 1);
  out.reserve(out.size() + size.size() + head.size() + reply.size() + 3);
  out.append(size).append(":").append(head).append(reply).append(",,");
}

}  // namespace

// A request on its way.
struct Dispatcher::Request {
  std::string client;
  StringTable keys;
  Device::Answers answers;
  std::string* out;  // null once Answer has returned
  Later later;
  Tables tables;
  bool isAnswered = false;

  void Finish(Result result, std::string_view reply) {
    isAnswered = true;
    if (out != nullptr) {
      AppendAnswer(*out, result, reply);
      return;
    }
    std::string message;
    AppendAnswer(message, result, reply);
    later(message);
  }
};

bool Dispatcher::IsSet(std::string_view payload) {
  std::string_view kind;
  return Netstring::Take(payload, kind) && kind == "set";
}

Dispatcher::Progress Dispatcher::Answer(std::string_view payload, std::string& out,
                                        const Later& later, const Tables& tables) {
  std::array<std::string_view, kFields> fields;
  std::size_t count = 0;
  while (!payload.empty()) {
    std::string_view field;
    if (!Netstring::Take(payload, field)) return Progress::kNoRequest;
    if (count < kFields) fields[count] = field;
    ++count;
  }
  if (count != kFields || (fields[kKind] != "query" && fields[kKind] != "set")) {
    AppendAnswer(out, kNotUnderstood, Sentences::TextOf(Sentence::kNotUnderstood));
    return Progress::kAnswered;
  }
  if (!authorisation_.Admits(fields[kAuthorisation])) {
    AppendAnswer(out, kNotAuthorised, Sentences::TextOf(Sentence::kNotAuthorised));
    Log::WriteAboutClient("wrong authorisation from client '" +
                          std::string(Shorten(fields[kClient])) + "'");
    return Progress::kAnswered;
  }
  const auto request = std::make_shared<Request>();
  request->client = fields[kClient];
  request->keys = StringTable(std::string(fields[kFirst]), StringTable::kSerialized);
  request->out = &out;
  request->later = later;
  request->tables = tables;
  if (fields[kKind] == "query") {
    Query(request);
  } else {
    tables->clear();
    Set(request, StringTable(std::string(fields[kSecond]), StringTable::kSerialized));
  }
  request->out = nullptr;
  return request->isAnswered ? Progress::kAnswered : Progress::kLater;
}

void Dispatcher::Query(const std::shared_ptr<Request>& request) {
  std::string reply;
  std::vector<unsigned> missing;
  Outcome outcome = device_.Query(request->keys, request->client, request->answers, reply, missing);
  if (outcome.IsSuccess() && !missing.empty()) {
    device_.Ask(request->keys, request->client, missing, request->answers, *request->tables,
                [this, request] { Query(request); });
    return;
  }
  if (outcome.IsSuccess()) {
    if (Head(kOk, reply.size()).size() + reply.size() + 1 <= kMaxAnswerBytes) {
      request->Finish(kOk, reply);
      return;
    }
    outcome = {Sentence::kAnswerTooLarge, {std::to_string(kMaxAnswerBytes)}};
  }
  reply = outcome.Record();
  Log::WriteAboutClient("query of client '" + std::string(Shorten(request->client)) + "' " +
                        Verb(outcome) + ": " + reply);
  request->Finish(kRefused, reply);
}

void Dispatcher::Set(const std::shared_ptr<Request>& request, const StringTable& values) {
  const StringTable& keys = request->keys;
  if (keys.Columns() != 1 || values.Columns() != 1 || keys.Rows() != values.Rows() ||
      keys.Rows() == 0 || keys.Rows() > Device::kMaxKeysPerRequest) {
    request->Finish(kRefused, Sentences::TextOf(Sentence::kNoSet,
                                                {std::to_string(Device::kMaxKeysPerRequest)}));
    return;
  }
  device_.Set(keys, values, request->client, [request](const std::vector<Outcome>& outcomes) {
    StringTable answer(1);
    Outcome failure;
    for (const Outcome& outcome : outcomes) {
      if (!outcome.IsSuccess()) failure = outcome;
      answer.AddCells({outcome.Text()});
    }
    const StringTable& names = request->keys;
    std::string record;
    for (unsigned row = 0; row < names.Rows() && record.size() < Log::kMaxNameBytes; ++row) {
      record.append(" ").append(Log::PathOf(names.View(row, 0)));
    }
    record = "set of client '" + std::string(Shorten(request->client)) + "' " + Verb(failure) +
             ":" + std::string(Shorten(record));
    if (failure.IsSuccess()) {
      Log::WriteAboutSet(record);
    } else {
      Log::WriteAboutClient(record);
    }
    request->Finish(kOk, answer.Serialize());
  });
}
