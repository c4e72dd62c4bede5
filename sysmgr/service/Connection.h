// SPDX-License-Identifier: MIT
//
// One client: bytes in, requests answered in order, bytes out. While an answer has not been taken
// whole, nothing more is read from the client, so it can't make more work than it takes away.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/service/Events.h"

class Connection {
 public:
  // What a connection may use of the server it belongs to.
  class Owner {
   public:
    // The loop in which it waits for its client.
    virtual event_base* Loop() const = 0;

    // Counts something that a client did; larger than all counts before.
    virtual std::uint64_t CountActivity() = 0;

    // See Dispatcher::Answer.
    virtual bool Answer(std::string_view payload, std::string& out) = 0;

    // Promises a call of TakeQueuedTurn to a connection that has more to do than fits between the
    // others: one of the queue gets its turn whenever everybody else that is ready has had one.
    virtual void Queue(Connection& connection) = 0;

    // Called when PendingBytes or InputBytes has changed. Other connections may have to go then,
    // this one may not.
    virtual void ChangePending(std::size_t before, const Connection& by) = 0;
    virtual void ChangeInput(std::size_t before, const Connection& by) = 0;

    // Disconnects the client. The connection is gone afterwards.
    virtual void Remove(Connection& connection) = 0;

   protected:
    ~Owner() = default;
  };

  // Largest payload of a request.
  static constexpr std::size_t kMaxRequestBytes = std::size_t{1} << 20;

  // Requests answered in one turn; then the others get theirs.
  static constexpr int kRequestsPerTurn = 32;

  // A larger request asks for much and waits in the server's queue for a turn of its own, as every
  // set does, which waits for the disk. Pages' queries are a tenth of this.
  static constexpr std::size_t kQuickRequestBytes = 4096;

  // Bytes read in one turn.
  static constexpr std::size_t kReadBytes = 65536;

  // Answers are put together up to this size before they are sent.
  static constexpr std::size_t kSendBytes = 65536;

  // `deadline`: for the rest of a request after its first byte, and for the client to take anything
  // of an answer. The owner must outlive the connection.
  Connection(Owner& owner, Descriptor descriptor, const timeval& deadline);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Throws when the client can't be waited for.
  void Start();

  // The turn that it has queued for.
  void TakeQueuedTurn();

  bool IsIdle() const { return input_.empty() && pendingBytes_ == 0; }
  std::uint64_t LastActivity() const { return activity_; }

  // Of answers that the client has not taken yet.
  std::size_t PendingBytes() const { return pendingBytes_; }
  // What the beginning of a request takes in memory; 0 without one.
  std::size_t InputBytes() const { return inputBytes_; }
  // When that beginning came, in counts of the owner's activity.
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
  std::size_t UnsentBytes() const { return output_.size() - sent_; }
  void CountPending();
  void CountInput();
  void DropAnswered(std::size_t rest);

  Owner& owner_;
  Descriptor descriptor_;
  EventPointer readEvent_;
  EventPointer writeEvent_;
  EventPointer deadlineEvent_;
  timeval deadline_;
  std::string input_;   // what has come and is not answered
  std::string output_;  // answers; those before sent_ are gone
  std::size_t sent_ = 0;
  std::uint64_t activity_ = 0;
  std::uint64_t requestBegin_ = 0;
  std::size_t pendingBytes_ = 0;  // as the owner knows them, and so are inputBytes_
  std::size_t inputBytes_ = 0;
  bool ended_ = false;  // the client will send nothing more
};
