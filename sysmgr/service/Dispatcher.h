// SPDX-License-Identifier: MIT
//
// Answers a request; both are the bytes that docs/protocol.md describes. The rule to know: an
// unauthorised client learns only that.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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
  Dispatcher(Device& device, const Authorisation& authorisation)
      : device_(device), authorisation_(authorisation) {}

  // Appends the answer to the request in `payload` to `out`, as a message. False, with `out`
  // untouched, when the payload is not a sequence of netstrings.
  bool Answer(std::string_view payload, std::string& out);

  // Whether the payload is a set, which takes as long as the disk does.
  static bool IsSet(std::string_view payload);

 private:
  Result Query(std::string_view client, std::string_view keys, std::string& reply);
  Result Set(std::string_view client, std::string_view keys, std::string_view values,
             std::string& reply);

  Device& device_;
  const Authorisation& authorisation_;
};
