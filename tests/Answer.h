// SPDX-License-Identifier: MIT
//
// Answers of a system manager, right or wrong, in the bytes of the wire.
#pragma once

#include <string>

#include "platform/Netstring.h"

inline std::string AnswerOf(const std::string& result, const std::string& reply) {
  std::string payload;
  Netstring::Append(payload, result);
  Netstring::Append(payload, reply);
  std::string answer;
  Netstring::Append(answer, payload);
  return answer;
}
