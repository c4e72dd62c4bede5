// SPDX-License-Identifier: MIT
//
// Sends requests to the system manager, one at a time, over a Unix stream socket, as
// docs/protocol.md describes it.
//
// The constructor opens and reads nothing. The first request reads the authorisation file and
// connects; further requests use the same connection. After any failure it is closed, so that a
// late answer is never taken for the answer of the next request, which connects again. But after a
// timeout, the system manager is not asked again: a page with many queries would wait for each of
// them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/Descriptor.h"

class SvcMgrInterface;

class SysMgrProxy {
 public:
  static constexpr std::size_t kMaxRequestBytes = std::size_t{1} << 20;  // payload
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;  // payload
  static constexpr unsigned kAnswerMilliseconds = 10000;  // for one request, connecting included

  static constexpr std::size_t kMaxAuthorisationBytes = 4096;

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

  Outcome Exchange(const std::string& request, int& result, std::string& reply);
  std::string MakePayload(std::string_view kind, std::string_view client, std::string_view first,
                          std::string_view second);
  void ReadAuthorisation();

  // `deadline` is a time of the monotonic clock in milliseconds.
  bool Connect(long long deadline);
  bool Send(std::string_view bytes, long long deadline);
  bool Receive(long long deadline, int& result, std::string& reply);
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
  bool gaveUp_ = false;
  std::string message_;
};
