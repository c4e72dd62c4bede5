// SPDX-License-Identifier: MIT
//
// Encrypted configurations (docs/configuration.md). The rule to know: the content of a file never
// decides the cost of opening it; the costs belong to the format's version.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/log/Outcome.h"

// A text that is wiped when it is destroyed. It must be made whole, because growing it would leave
// copies of its parts in memory.
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
  // The cost of a guess of the password: Argon2id, version 1.3, one lane. A small device can spare
  // 12 MiB for a moment; with that memory, three passes are the recommended minimum.
  static constexpr std::size_t kHashMemoryBytes = std::size_t{12} << 20;
  static constexpr unsigned kHashPasses = 3;

  ConfigurationCipher() = default;
  ~ConfigurationCipher() { Forget(); }
  ConfigurationCipher(const ConfigurationCipher&) = delete;
  ConfigurationCipher& operator=(const ConfigurationCipher&) = delete;

  // Enciphers a text. Fails when there is not enough memory. Keeps the key of the last password, so
  // that only the first file with a password takes the time of its hash.
  Outcome Seal(std::string_view plain, const std::string& password, std::string& sealed);

  // Wipes the kept password and its key.
  void Forget();

  // Whether the bytes are an encrypted file.
  static bool IsSealed(std::string_view file);

  // Decrypts a file; after a failure, `plain` is empty. A wrong password can't be told from a
  // changed file.
  static Outcome Open(std::string_view file, const std::string& password, Secret& plain);

 private:
  std::string password_;  // the password of the key below; "" when there is none
  std::string salt_;
  std::string key_;
};
