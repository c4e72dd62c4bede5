// SPDX-License-Identifier: MIT
//
// Whose firmware images a device installs. The rule to know: without a key it installs none, unless
// it was built for images without signatures.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/log/Outcome.h"

struct FirmwareTrust {
  std::string model;              // the device that an image must be for
  std::vector<std::string> keys;  // Ed25519, 32 bytes each
  bool takesUnsigned = false;

  // What is wrong with the signature, of 128 hexadecimal digits or none, of an image with this
  // checksum.
  Outcome Check(std::string_view signature, std::string_view checksum) const;
};

// The keys in the files of that folder whose names end in ".pub": 64 hexadecimal digits each, in
// one line. Files that hold something else are logged and left out.
std::vector<std::string> ReadFirmwareKeys(const std::string& folder);

// Whether the first version comes before the second: numbers in them are compared as numbers, words
// as words, and what is between them doesn't count.
bool IsOlderVersion(std::string_view one, std::string_view other);
