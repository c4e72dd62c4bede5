// SPDX-License-Identifier: MIT
//
// One request in, one answer out, both as the bytes that docs/protocol.md describes. The rule to
// know: who doesn't show the authorisation learns nothing but that.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "sysmgr/device/Device.h"
#include "sysmgr/service/Authorisation.h"

class Dispatcher {
 public:
  // Largest payload of an answer: result, reply and their frames.
  static constexpr std::size_t kMaxAnswerBytes = std::size_t{16} << 20;

  // The first half of an answer.
  enum Result : int {
    kOk = 0,
    kRefused = 1,        // malformed, unknown or refused key; reply: why, for a log
    kNotAuthorised = 2,  // wrong authorisation
    kNotUnderstood = 3,  // no request of this protocol
  };

  // Both must outlive the dispatcher.
  Dispatcher(Device& device, const Authorisation& authorisation)
      : device_(device), authorisation_(authorisation) {}

  // Appends the answer to the request in `payload` to `out`, as a message. False, with `out`
  // untouched, when the payload is not a sequence of netstrings.
  bool Answer(std::string_view payload, std::string& out);

  // Whether the payload asks to store something, which takes as long as the disk does.
  static bool IsSet(std::string_view payload);

 private:
  Result Query(std::string_view client, std::string_view keys, std::string& reply);
  Result Set(std::string_view client, std::string_view keys, std::string_view values,
             std::string& reply);

  Device& device_;
  const Authorisation& authorisation_;
};
