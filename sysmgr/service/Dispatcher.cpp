// SPDX-License-Identifier: MIT
//
// Fields are views into the payload; only tables are copied.
#include "sysmgr/service/Dispatcher.h"

#include <array>
#include <cstddef>

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

}  // namespace

bool Dispatcher::IsSet(std::string_view payload) {
  std::string_view kind;
  return Netstring::Take(payload, kind) && kind == "set";
}

bool Dispatcher::Answer(std::string_view payload, std::string& out) {
  std::array<std::string_view, kFields> fields;
  std::size_t count = 0;
  while (!payload.empty()) {
    std::string_view field;
    if (!Netstring::Take(payload, field)) return false;
    if (count < kFields) fields[count] = field;
    ++count;
  }

  Result result = kNotUnderstood;
  std::string reply;
  if (count != kFields || (fields[kKind] != "query" && fields[kKind] != "set")) {
    reply = Sentences::TextOf(Sentence::kNotUnderstood);
  } else if (!authorisation_.Matches(fields[kAuthorisation])) {
    result = kNotAuthorised;
    reply = Sentences::TextOf(Sentence::kNotAuthorised);
    Log::WriteAboutClient("wrong authorisation from client '" +
                          std::string(Shorten(fields[kClient])) + "'");
  } else if (fields[kKind] == "query") {
    result = Query(fields[kClient], fields[kFirst], reply);
  } else {
    result = Set(fields[kClient], fields[kFirst], fields[kSecond], reply);
  }

  // Builds the message around the reply, which may be large and is copied only once.
  const std::string head = Head(result, reply.size());
  const std::string size = std::to_string(head.size() + reply.size() + 1);
  out.reserve(out.size() + size.size() + head.size() + reply.size() + 3);
  out.append(size).append(":").append(head).append(reply).append(",,");
  return true;
}

Dispatcher::Result Dispatcher::Query(std::string_view client, std::string_view keys,
                                     std::string& reply) {
  const StringTable query(std::string(keys), StringTable::kSerialized);
  StringTable answer;
  Outcome outcome = device_.Query(query, client, answer);
  if (outcome.IsSuccess()) {
    reply = answer.Serialize();
    if (Head(kOk, reply.size()).size() + reply.size() + 1 <= kMaxAnswerBytes) return kOk;
    outcome = {Sentence::kAnswerTooLarge, {std::to_string(kMaxAnswerBytes)}};
  }
  reply = outcome.Record();
  Log::WriteAboutClient("query of client '" + std::string(Shorten(client)) + "' " + Verb(outcome) +
                        ": " + reply);
  return kRefused;
}

Dispatcher::Result Dispatcher::Set(std::string_view client, std::string_view keys,
                                   std::string_view values, std::string& reply) {
  const StringTable keyTable(std::string(keys), StringTable::kSerialized);
  const StringTable valueTable(std::string(values), StringTable::kSerialized);
  if (keyTable.Columns() != 1 || valueTable.Columns() != 1 ||
      keyTable.Rows() != valueTable.Rows() || keyTable.Rows() == 0 ||
      keyTable.Rows() > Device::kMaxKeysPerRequest) {
    reply = Sentences::TextOf(Sentence::kNoSet, {std::to_string(Device::kMaxKeysPerRequest)});
    return kRefused;
  }
  StringTable answer(1);
  Outcome failure;
  for (const Outcome& outcome : device_.Set(keyTable, valueTable, client)) {
    if (!outcome.IsSuccess()) failure = outcome;
    answer.AddCells({outcome.Text()});
  }
  std::string names;
  for (unsigned row = 0; row < keyTable.Rows() && names.size() < Log::kMaxNameBytes; ++row) {
    names.append(" ").append(Log::PathOf(keyTable.View(row, 0)));
  }
  Log::WriteAboutClient("set of client '" + std::string(Shorten(client)) + "' " + Verb(failure) +
                        ":" + std::string(Shorten(names)));
  reply = answer.Serialize();
  return kOk;
}
