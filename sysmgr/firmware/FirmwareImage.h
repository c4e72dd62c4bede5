// SPDX-License-Identifier: MIT
//
// A firmware image as docs/firmware.md describes it: a header of text lines, then the payload. The
// rule to know: nothing in an image is believed before FirmwareVerifier has seen its last byte.
#pragma once

#include <sodium.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sysmgr/log/Outcome.h"

struct FirmwareImage {
  // A header of the longest values is not half of it.
  static constexpr std::size_t kMaxHeaderBytes = 1024;

  // Header and payload: what an upload can bring.
  static constexpr std::size_t kMaxBytes = (std::size_t{6} << 20) - 1;

  // Of a model and of a version: what fits beside its label on a narrow page.
  static constexpr std::size_t kMaxNameBytes = 63;

  std::string model;
  std::string version;
  std::size_t bytes = 0;  // header and payload
  std::string sha256;     // of all bytes but those of its own line; 64 hexadecimal digits
};

// Looks at an image while it comes by, in pieces of any size, in the memory of its header.
class FirmwareVerifier {
 public:
  // The model that the image must be for.
  explicit FirmwareVerifier(std::string model);

  // The next bytes. False when the image is wrong whatever follows.
  bool Take(std::string_view bytes);

  // After the last byte: success when the image is whole and right, and `image` says what it is. A
  // failure leaves `image` untouched, and is about a line of the header where it has one.
  Outcome Finish(FirmwareImage& image);

 private:
  void TakeHeader(std::string_view bytes);
  void TakePayload(std::string_view bytes);
  Outcome ReadHeader(std::string_view header);
  Outcome ReadLine(std::string_view line);

  std::string model_;
  std::string header_;  // as far as it has come; whole once payloadBytes_ counts
  bool inPayload_ = false;
  std::size_t length_ = 0;  // of the payload, as the header says
  std::size_t payloadBytes_ = 0;
  FirmwareImage image_;
  crypto_hash_sha256_state hash_;
  Outcome outcome_;
};

// Reads an image from where the descriptor stands to its end, in blocks. Results as of Finish; a
// file that can't be read is a wrong one.
Outcome VerifyFirmware(int descriptor, const std::string& model, FirmwareImage& image);
