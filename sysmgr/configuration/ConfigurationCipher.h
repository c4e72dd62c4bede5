// SPDX-License-Identifier: MIT
//
// Enciphered configurations (docs/configuration.md). The rule to know: nothing that a file says
// decides how much work it makes; the limits belong to the format's version.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/log/Outcome.h"

// A text that is wiped when it goes. It is made whole: growing would leave pieces behind.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string text) : text_(std::move(text)) {}
  ~Secret() { Wipe(text_); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  std::string& Text() { return text_; }
  const std::string& Text() const { return text_; }

  static void Wipe(std::string& text);

 private:
  std::string text_;
};

class ConfigurationCipher {
 public:
  // Work that a guess of the password costs: Argon2id, version 1.3, one lane. 12 MiB is what a
  // small device can spare for a moment, and with it three passes are the least that is advised.
  static constexpr std::size_t kHashMemoryBytes = std::size_t{12} << 20;
  static constexpr unsigned kHashPasses = 3;

  ConfigurationCipher() = default;
  ~ConfigurationCipher() { Forget(); }
  ConfigurationCipher(const ConfigurationCipher&) = delete;
  ConfigurationCipher& operator=(const ConfigurationCipher&) = delete;

  // Gives the enciphered form of a text. Fails when there is not enough memory for it. The key of
  // the last password is kept, so that only the first file under a password takes the time of its
  // hash.
  Outcome Seal(std::string_view plain, const std::string& password, std::string& sealed);

  // Wipes the kept password and its key.
  void Forget();

  // Whether the bytes are to be deciphered, rather than read as they are.
  static bool IsSealed(std::string_view file);

  // Gives the text; after a failure `plain` is empty. A wrong password looks like a file that was
  // changed.
  static Outcome Open(std::string_view file, const std::string& password, Secret& plain);

 private:
  std::string password_;  // of the key below; "" when there is none
  std::string salt_;
  std::string key_;
};
