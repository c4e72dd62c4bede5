// SPDX-License-Identifier: MIT
//
// Sends requests to the system manager over a Unix stream socket, as docs/protocol.md describes it.
//
// The constructor opens and reads nothing. The first request reads the authorisation file and
// connects; further requests use the same connection. After any failure it is closed, so that a
// late answer is never taken for the answer of the next request, which connects again. But after a
// timeout, the system manager is not asked again: a page with many queries would wait for each of
// them.
//
// Queries may be asked ahead: those that wait go out together with the first one whose answer is
// taken. Each result is what sQueryKey would give. A query that got no answer because it was sent
// behind others is asked once more, by itself, and from then on nothing is sent ahead.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "platform/StringTable.h"

class SvcMgrInterface;

class SysMgrProxy {
 public:
  static constexpr std::size_t kMaxRequestBytes = std::size_t{1} << 20;  // payload
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;  // payload
  static constexpr unsigned kAnswerMilliseconds = 10000;  // for one request, connecting included

  static constexpr std::size_t kMaxAuthorisationBytes = 4096;

  // Queries asked ahead have at most this size together. The system manager takes so much without
  // being read from, so neither side can wait for the other.
  static constexpr std::size_t kMaxAheadBytes = 16384;

  // Results of the operations; those above 0 come from the system manager.
  static constexpr int kOk = 0;
  static constexpr int kFailed = -1;  // not reached, no answer in time, or a malformed one

  // `name`: the service name of this program. `service`: what the program offers itself; it can't
  // be called over this connection. `authFile`: the file with the secret for the system manager, at
  // most kMaxAuthorisationBytes; a longer or unreadable file counts as empty.
  SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string& authFile);

  // The same for a system manager at another socket, or with less time for an answer.
  SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string& authFile,
              const std::string& socketPath, unsigned answerMilliseconds = kAnswerMilliseconds);
  SysMgrProxy(const SysMgrProxy&) = delete;
  SysMgrProxy& operator=(const SysMgrProxy&) = delete;

  // Asks for the keys of the serialised table `query` in the name of `client`. `reply` is the
  // serialised answer when the result is 0; otherwise it is empty.
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);

  // The same, but the answer is read as a table, which is empty when the result is not 0.
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                StringTable& answer);

  // Asks ahead. TakeAnswer then gives what sQueryKey would: call it once for each query, in their
  // order, before any other request. Returns false for a query that must not be asked ahead, but by
  // sQueryKey when all answers have been taken.
  bool Ask(const std::string& client, const std::string& query, const std::string& option);
  int TakeAnswer(StringTable& answer);

  // Sets the keys to the values, each a serialised table of one column, as one batch. When the
  // result is 0, `reply` is a serialised table of one column with a row for each key, "" or what is
  // wrong with its value, and possibly one more row about the batch. Otherwise every key has a row
  // with an error: the system manager could not be reached; or it did not answer, and the setting
  // may be stored or not; or it refused the request.
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply);

  // Why the system manager refused the last request, in its words, for the log; "" when it didn't,
  // or gave no reason.
  const std::string& LastMessage() const { return message_; }

 private:
  enum class Outcome {
    kAnswered,
    kNotSent,   // the system manager did not get a whole request
    kNoAnswer,  // the whole request was sent; its effect is unknown
  };

  // The whole message; "" when it would be too large.
  std::string MakeRequest(std::string_view kind, std::string_view client, std::string_view first,
                          std::string_view second);

  // Sends `count` requests and receives the answer to the first.
  Outcome Exchange(std::string_view requests, std::size_t count, int& result, std::string& reply);
  int Finish(int result, std::string& reply, StringTable& answer);
  void ReadAuthorisation();

  // `deadline` is a time of the monotonic clock in milliseconds.
  bool Connect(long long deadline);
  bool Send(std::string_view bytes, long long deadline);
  bool Receive(long long deadline, int& result, std::string& reply);
  bool ReceiveMore(long long deadline, std::size_t needed);
  void TakeReply(std::string_view place, std::string& reply);
  bool Wait(short events, long long deadline);

  bool IsStale() const;
  void Disconnect();

  std::string name_;
  std::string authFile_;
  std::string socketPath_;
  unsigned answerMilliseconds_;
  std::string authorisation_;
  bool authorisationRead_ = false;
  Descriptor socket_;
  std::size_t coming_ = 0;  // answers that are still to come over this connection

  // Bytes of answers: those before taken_ have been used, those from filled_ on are room.
  std::string received_;
  std::size_t taken_ = 0;
  std::size_t filled_ = 0;

  // The requests that were asked ahead; the bytes before answered_ are those of earlier ones.
  std::string asked_;
  std::size_t answered_ = 0;
  std::size_t askedCount_ = 0;
  bool asksAhead_ = true;
  bool gaveUp_ = false;
  std::string message_;
};
