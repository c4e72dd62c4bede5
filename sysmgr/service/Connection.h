// SPDX-License-Identifier: MIT
//
// The connection of one client: reads requests, answers them in order, and sends the answers. While
// an answer is not there yet, or the client has not taken it whole, nothing more is read, so that a
// client can't cause more work than it takes answers.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/loop/Events.h"
#include "sysmgr/service/Dispatcher.h"

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // What a connection may use of its server.
  class Owner {
   public:
    // The loop in which the connection waits for its client.
    virtual event_base* Loop() const = 0;

    // Counts an activity of a client. Returns a larger number than all calls before.
    virtual std::uint64_t CountActivity() = 0;

    // See Dispatcher::Answer.
    virtual Dispatcher::Progress Answer(std::string_view payload, std::string& out,
                                        const Dispatcher::Later& later,
                                        const Dispatcher::Tables& tables) = 0;

    // Queues a connection that has more to do than fits between the others: it gets a call of
    // TakeQueuedTurn. One connection of the queue gets its turn after every other ready connection
    // has had one.
    virtual void Queue(Connection& connection) = 0;

    // Call it when PendingBytes or InputBytes has changed. It may disconnect other clients, but not
    // this one.
    virtual void ChangePending(std::size_t before, const Connection& by) = 0;
    virtual void ChangeInput(std::size_t before, const Connection& by) = 0;

    // Disconnects the client and destroys the connection.
    virtual void Remove(Connection& connection) = 0;

   protected:
    ~Owner() = default;
  };

  // The largest payload of a request.
  static constexpr std::size_t kMaxRequestBytes = std::size_t{1} << 20;

  // Requests answered in one turn, before the other clients get theirs.
  static constexpr int kRequestsPerTurn = 32;

  // A larger request asks for much, so it waits in the server's queue for a turn of its own. So
  // does every set, because an action may read a whole file. The queries of pages are a tenth of
  // this size.
  static constexpr std::size_t kQuickRequestBytes = 4096;

  // Bytes read in one turn.
  static constexpr std::size_t kReadBytes = 65536;

  // Answers are collected up to this size before they are sent.
  static constexpr std::size_t kSendBytes = 65536;

  // The system tells only of whole pieces that a client has taken them. So one piece is what a
  // client must take within the deadline; with the system's own data it fits into a page of memory.
  static constexpr std::size_t kPieceBytes = 3584;

  // An answer up to this size goes out at once if the client has taken all before it: the system's
  // own buffers hold more, so it leaves nothing to wait for. The client wakes only once for it.
  static constexpr std::size_t kWholeBytes = 49152;

  // `deadlineMilliseconds`: the time for the rest of a request after its first byte, and for the
  // client to take a piece of an answer. The owner must outlive the connection.
  Connection(Owner& owner, Descriptor descriptor, int deadlineMilliseconds);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Throws when the event loop can't wait for the client.
  void Start();

  // Takes the turn for which the connection was queued.
  void TakeQueuedTurn();

  bool IsIdle() const { return input_.empty() && pendingBytes_ == 0 && !isAwaiting_; }
  std::uint64_t LastActivity() const { return activity_; }

  // The bytes of answers that the client has not taken yet.
  std::size_t PendingBytes() const { return pendingBytes_; }
  // The memory of an unfinished request; 0 without one.
  std::size_t InputBytes() const { return inputBytes_; }
  // When that request began, as a count of the owner's activity.
  std::uint64_t RequestBegin() const { return requestBegin_; }
  // Whether the client has begun a request and must send its rest, with no answer left to take.
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

  // Takes an answer that comes later; there may be no connection any more.
  Dispatcher::Later TakerOfAnswers();

  Verdict Read();
  Verdict Turn(Allowance allowance);
  Work AnswerRequests(Allowance allowance);
  bool Send();
  std::size_t NextPiece() const;
  void WaitForRoom();
  Verdict CheckProgress();
  int QueuedBytes() const;
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
  timeval look_;        // between two looks at what a client takes
  std::string input_;   // received bytes that are not answered
  std::string output_;  // answers; the bytes before sent_ have been sent
  std::size_t sent_ = 0;
  int queuedBytes_ = 0;  // sent, but not taken by the client when it was last looked at
  int idleLooks_ = 0;    // how often it had taken nothing since the look before
  std::uint64_t activity_ = 0;
  std::uint64_t requestBegin_ = 0;
  std::size_t pendingBytes_ = 0;  // as the owner knows them, like inputBytes_
  std::size_t inputBytes_ = 0;
  bool ended_ = false;                 // the client will send nothing more
  bool isAwaiting_ = false;            // the answer to its last request, which is not there yet
  std::shared_ptr<Connection*> self_;  // for takeAnswer_; points to null once we are gone
  Dispatcher::Later takeAnswer_;
  Dispatcher::Tables tables_;  // those that were measured once
};
