// SPDX-License-Identifier: MIT
//
// Answers a request; both are the bytes that docs/protocol.md describes. The rule to know: an
// unauthorised client learns only that.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/device/Device.h"
#include "sysmgr/service/Authorisation.h"

class Dispatcher {
 public:
  // The largest payload of an answer: result, reply and their frames.
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;

  // The first field of an answer.
  enum Result : int {
    kOk = 0,
    kRefused = 1,        // malformed, unknown or refused key; the reply says why, for a log
    kNotAuthorised = 2,  // wrong authorisation
    kNotUnderstood = 3,  // not a request of this protocol
  };

  // Both must outlive the dispatcher.
  Dispatcher(Device& device, Authorisation& authorisation)
      : device_(device), authorisation_(authorisation) {}

  // What a connection's queries share. A set forgets it.
  using Tables = std::shared_ptr<Device::Tables>;

  // Takes an answer that comes later, as a message.
  using Later = std::function<void(std::string_view message)>;

  enum class Progress {
    kAnswered,   // the answer is there
    kLater,      // `later` is called with it, once, from the event loop
    kNoRequest,  // the payload is not a sequence of netstrings; there will be no answer
  };

  // Appends the answer to the request in `payload` to `out`, as a message, if it is kAnswered.
  Progress Answer(std::string_view payload, std::string& out, const Later& later,
                  const Tables& tables);

  // Whether the payload is a set, which takes as long as the disk does.
  static bool IsSet(std::string_view payload);

 private:
  struct Request;

  void Query(const std::shared_ptr<Request>& request);
  void Set(const std::shared_ptr<Request>& request, const StringTable& values);

  Device& device_;
  Authorisation& authorisation_;
};
