// SPDX-License-Identifier: MIT
//
// The connection to one provider: messages in, messages out, as docs/provider.md describes them.
// The rule to know: a provider that is silent, slow or sends nonsense is disconnected.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/Descriptor.h"
#include "sysmgr/loop/Events.h"

// How long a provider may take, in milliseconds.
struct ProviderPatience {
  int reply = 2000;      // hello, pong, an answer, and the rest of a message that has begun
  int silence = 5000;    // before it is asked whether it is there
  int action = 8000;     // less than a client waits for a set
  int applying = 60000;  // of settings
};

class ProviderLink {
 public:
  using Fields = std::vector<std::string_view>;

  // What a link may use of the one it belongs to.
  class Owner {
   public:
    // Handles a message of at least one field, which is good for the call only. Returns why the
    // provider has to go, "" when it may stay.
    virtual std::string Handle(ProviderLink& link, const Fields& fields) = 0;

    // The link is gone afterwards. `why` is for the log.
    virtual void Remove(ProviderLink& link, const std::string& why) = 0;

   protected:
    ~Owner() = default;
  };

  // Of a message from the provider.
  static constexpr std::size_t kMaxMessageBytes = std::size_t{1} << 20;

  // Of messages that the provider has not read yet.
  static constexpr std::size_t kMaxPendingBytes = std::size_t{1} << 20;

  // Handled in one turn; then the others get theirs.
  static constexpr int kMessagesPerTurn = 32;
  static constexpr std::size_t kReadBytes = 65536;

  // Owner and loop must outlive the link. Throws when the provider can't be waited for.
  ProviderLink(Owner& owner, event_base* loop, Descriptor descriptor,
               const ProviderPatience& patience);
  ProviderLink(const ProviderLink&) = delete;
  ProviderLink& operator=(const ProviderLink&) = delete;

  // Sends a message as soon as the loop gets to it. Never ends the link from within.
  void Send(const Fields& fields);

  // Disconnects the provider. The link is gone afterwards.
  void End(const std::string& why) { owner_.Remove(*this, why); }

 private:
  static void OnRead(int descriptor, short what, void* link);
  static void OnWrite(int descriptor, short what, void* link);
  static void OnTurn(int descriptor, short what, void* link);
  static void OnDeadline(int descriptor, short what, void* link);

  // Calls a step that returns why the provider has to go, "" when it may stay.
  template <typename Step>
  static void Guard(void* link, Step step);

  std::string Read();
  std::string HandleMessages();
  std::string Flush();
  std::string OnSilence();

  Owner& owner_;
  Descriptor descriptor_;
  timeval reply_;
  timeval silence_;
  EventPointer readEvent_;
  EventPointer writeEvent_;
  EventPointer turnEvent_;  // more messages have come than one turn handles
  EventPointer deadline_;
  std::string input_;
  std::string output_;
  bool expects_ = true;  // hello, a pong or the rest of a message
};
