// SPDX-License-Identifier: MIT
//
// The way to the system manager: one request at a time over a Unix stream socket, as
// docs/protocol.md describes it.
//
// Constructing one opens and reads nothing. The first request reads the authorisation file and
// connects; the connection is kept for further requests. After any failure it is closed, so that a
// late answer is never taken for the answer of the next request, which connects again. But a system
// manager that let the time for an answer pass is not asked again: a page with many queries would
// wait for each of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class SvcMgrInterface;

class SysMgrProxy {
 public:
  static constexpr std::size_t kMaxRequestBytes = std::size_t{1} << 20;  // payload
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;  // payload
  static constexpr unsigned kAnswerMilliseconds = 10000;  // for one request, connecting included

  static constexpr std::size_t kMaxAuthorisationBytes = 4096;

  // Results of the operations; above 0 is what the system manager gave.
  static constexpr int kOk = 0;
  static constexpr int kFailed = -1;  // not reached, no answer in time, or nonsense

  // `name`: the service name of this program. `service`: what it offers itself, which nobody can
  // call over this connection. `authFile`: the secret shown to the system manager, at most
  // kMaxAuthorisationBytes; a file that can't be read, or is longer, counts as empty.
  SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string& authFile);

  // The same for a system manager that listens elsewhere, or must answer in less time.
  SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string& authFile,
              const std::string& socketPath, unsigned answerMilliseconds = kAnswerMilliseconds);
  ~SysMgrProxy();
  SysMgrProxy(const SysMgrProxy&) = delete;
  SysMgrProxy& operator=(const SysMgrProxy&) = delete;

  // Asks for the keys of the serialised table `query` in the name of `client`. `reply` is the
  // serialised answer when the result is 0; otherwise it is empty.
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);

  // Sets the keys to the values, each a serialised table of one column, as one batch. When the
  // result is 0, `reply` is a serialised table of one column with a row for each key, "" or what is
  // wrong with its value, and perhaps one row more for the batch. Otherwise it has the same rows
  // and never looks like success: every row says that the system manager could not be reached, that
  // it did not answer and the setting may be stored or not, or that it refused the request.
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply);

  // Why the last request was refused, in the system manager's words, for the log; "" when it was
  // not, or nothing came.
  const std::string& LastMessage() const { return message_; }

 private:
  enum class Outcome {
    kAnswered,
    kNotSent,   // nothing reached the system manager that it could act on
    kNoAnswer,  // the whole request was sent, and what became of it is unknown
  };

  Outcome Exchange(const std::string& request, int& result, std::string& reply);
  std::string MakePayload(std::string_view kind, std::string_view client, std::string_view first,
                          std::string_view second);
  void ReadAuthorisation();

  // All of them by `deadline`, a reading of the monotonic clock in milliseconds.
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
  int socket_ = -1;
  bool gaveUp_ = false;
  std::string message_;
};
