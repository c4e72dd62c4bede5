// SPDX-License-Identifier: MIT
//
// Firmware images for tests, right ones and wrong ones, made without the code that reads them.
#pragma once

#include <sodium.h>

#include <string>

// In hexadecimal digits.
inline std::string Hash(const std::string& bytes) {
  unsigned char hash[crypto_hash_sha256_BYTES];
  crypto_hash_sha256(hash, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  char text[2 * sizeof hash + 1];
  return sodium_bin2hex(text, sizeof text, hash, sizeof hash);
}

// An image of these header lines with the right checksum in "*".
inline std::string Image(std::string lines, const std::string& payload) {
  const std::size_t star = lines.find('*');
  if (star == std::string::npos) return lines + "\n" + payload;
  const std::size_t line = lines.rfind('\n', star) + 1;
  std::string rest = lines;
  rest.erase(line, lines.find('\n', star) + 1 - line);
  return lines.replace(star, 1, Hash(rest + "\n" + payload)) + "\n" + payload;
}

inline std::string RightImage(const std::string& version, const std::string& payload) {
  return Image("VISTEL-FIRMWARE 1\nModel: Vistel\nVersion: " + version +
                   "\nLength: " + std::to_string(payload.size()) + "\nSHA-256: *\n",
               payload);
}
