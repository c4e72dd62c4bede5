// SPDX-License-Identifier: MIT
//
// One client: bytes in, requests answered in order, bytes out. While an answer has not been taken
// whole, nothing more is read from the client, so it can't make more work than it takes away.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/Descriptor.h"
#include "sysmgr/service/Server.h"

class Connection {
 public:
  // Requests answered in one turn; then the others get theirs.
  static constexpr int kRequestsPerTurn = 32;

  // A larger request asks for much and waits in the server's queue for a turn of its own, as every
  // set does, which waits for the disk. Pages' queries are a tenth of this.
  static constexpr std::size_t kQuickRequestBytes = 4096;

  // Bytes read in one turn.
  static constexpr std::size_t kReadBytes = 65536;

  // Answers are put together up to this size before they are sent.
  static constexpr std::size_t kSendBytes = 65536;

  Connection(Server& server, Descriptor descriptor);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Throws when the client can't be waited for.
  void Start();

  // The turn that it has queued for.
  void TakeQueuedTurn();

  bool IsIdle() const { return input_.empty() && PendingBytes() == 0; }
  std::size_t PendingBytes() const { return output_.size() - sent_; }
  std::uint64_t LastActivity() const { return activity_; }

  // What the beginning of a request takes in memory; 0 without one.
  std::size_t InputBytes() const { return countedInput_; }
  // When that beginning came, in counts of the server's activity.
  std::uint64_t RequestBegin() const { return requestBegin_; }
  // Whether it is the client's turn to go on with it.
  bool IsUnfinished() const;

 private:
  enum class Verdict { kKeep, kClose };
  enum class Work { kNone, kMore, kBroken };
  enum class Allowance { kQuick, kAll };

  static void OnRead(int descriptor, short what, void* connection);
  static void OnWrite(int descriptor, short what, void* connection);
  static void OnDeadline(int descriptor, short what, void* connection);

  template <typename Step>
  static void Guard(void* connection, Step step);

  Verdict Read();
  Verdict Turn(Allowance allowance);
  Work AnswerRequests(Allowance allowance);
  bool Send();
  Verdict WaitForClient();
  void CountPending();
  void CountInput();
  void DropAnswered(std::size_t rest);

  Server& server_;
  Descriptor descriptor_;
  EventPointer readEvent_;
  EventPointer writeEvent_;
  EventPointer deadline_;
  std::string input_;   // what has come and is not answered
  std::string output_;  // answers; those before sent_ are gone
  std::size_t sent_ = 0;
  std::uint64_t activity_ = 0;
  std::uint64_t requestBegin_ = 0;
  std::size_t countedPending_ = 0;  // what the server's sums hold of ours, to be taken off again
  std::size_t countedInput_ = 0;
  bool ended_ = false;  // the client will send nothing more
};
