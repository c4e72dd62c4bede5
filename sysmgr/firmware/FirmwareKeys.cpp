// SPDX-License-Identifier: MIT
//
// A signature is of a line that begins as images do and ends with the image's checksum: a signature
// of anything else never fits.
#include "sysmgr/firmware/FirmwareKeys.h"

#include <sodium.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "base/Characters.h"
#include "sysmgr/files/TextFile.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr std::string_view kSignedLine = "VISTEL-FIRMWARE ";

// The bytes of so many hexadecimal digits; "" when there are not just these.
std::string Bytes(std::string_view digits, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t length = 0;
  const char* end = nullptr;
  const bool isFine = sodium_hex2bin(reinterpret_cast<unsigned char*>(bytes.data()), count,
                                     digits.data(), digits.size(), nullptr, &length, &end) == 0;
  return isFine && length == count && end == digits.data() + digits.size() ? bytes : "";
}

const unsigned char* Unsigned(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// Takes the next number or word off a version, without the zeros that a number begins with.
std::string_view TakePart(std::string_view& version) {
  while (!version.empty() && !IsAsciiAlphanumeric(version.front())) version.remove_prefix(1);
  const auto length = [&version](auto isOurs) {
    const auto end = std::find_if_not(version.begin(), version.end(), isOurs);
    return static_cast<std::size_t>(end - version.begin());
  };
  const std::size_t digits = length(IsAsciiDigit);
  const std::size_t size = digits > 0 ? digits : length([](char byte) {
    return IsAsciiAlphanumeric(byte) && !IsAsciiDigit(byte);
  });
  std::string_view part = version.substr(0, size);
  version.remove_prefix(size);
  while (digits > 0 && part.size() > 1 && part.front() == '0') part.remove_prefix(1);
  return part;
}

bool IsNumber(std::string_view part) {
  return !part.empty() && IsAsciiDigit(part.front());
}

}  // namespace

Outcome FirmwareTrust::Check(std::string_view signature, std::string_view checksum) const {
  if (keys.empty()) return takesUnsigned ? Outcome() : Sentence::kNoFirmwareKey;
  if (signature.empty()) return takesUnsigned ? Outcome() : Sentence::kImageUnsigned;
  const std::string line = std::string(kSignedLine).append(checksum).append("\n");
  const std::string bytes = Bytes(signature, crypto_sign_BYTES);
  const bool isOurs =
      !bytes.empty() && std::any_of(keys.begin(), keys.end(), [&](const std::string& key) {
        return crypto_sign_verify_detached(Unsigned(bytes), Unsigned(line), line.size(),
                                           Unsigned(key)) == 0;
      });
  return isOurs ? Outcome() : Sentence::kImageForeign;
}

std::vector<std::string> ReadFirmwareKeys(const std::string& folder) {
  std::vector<std::string> keys;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() != ".pub") continue;
    std::string line;
    TextFile(entry.path()).Next(line);
    std::string key = Bytes(line, crypto_sign_PUBLICKEYBYTES);
    if (key.empty()) {
      Log::Write("'" + entry.path().string() + "' holds no key for firmware");
    } else {
      keys.push_back(std::move(key));
    }
  }
  return keys;
}

bool IsOlderVersion(std::string_view one, std::string_view other) {
  for (;;) {
    const std::string_view mine = TakePart(one);
    const std::string_view theirs = TakePart(other);
    if (mine.empty() || theirs.empty()) return mine.empty() && !theirs.empty();
    if (mine == theirs) continue;
    if (IsNumber(mine) && IsNumber(theirs) && mine.size() != theirs.size()) {
      return mine.size() < theirs.size();
    }
    return mine < theirs;
  }
}
