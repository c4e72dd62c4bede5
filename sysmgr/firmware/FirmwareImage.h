// SPDX-License-Identifier: MIT
//
// A firmware image as docs/firmware.md describes it: a header of text lines, then the payload. The
// rule to know: nothing of an image is trusted before FirmwareVerifier has read its last byte.
#pragma once

#include <sodium.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sysmgr/firmware/FirmwareKeys.h"
#include "sysmgr/log/Outcome.h"

struct FirmwareImage {
  // The longest header takes less than half.
  static constexpr std::size_t kMaxHeaderBytes = 1024;

  // Header and payload: the largest upload.
  static constexpr std::size_t kMaxBytes = (std::size_t{6} << 20) - 1;

  // The longest model and the longest version: they fit next to their labels on a narrow page.
  static constexpr std::size_t kMaxNameBytes = 63;

  // What is read at once: a system call costs nothing compared with hashing that much.
  static constexpr std::size_t kBlockBytes = 65536;

  std::string model;
  std::string version;
  std::size_t bytes = 0;  // header and payload
  std::string sha256;     // of all but its own line and the signature; hexadecimal
};

// Verifies an image that comes in pieces of any size, with no more memory than its header takes.
class FirmwareVerifier {
 public:
  // What the image must be for, and signed by.
  explicit FirmwareVerifier(FirmwareTrust trust);

  // Takes the next bytes. Returns false when the image is faulty, whatever follows.
  bool Take(std::string_view bytes);

  // Call it after the last byte. Succeeds and sets `image` when the image is whole and correct. A
  // failure leaves `image` untouched and names the line of the header that it is about, if any.
  Outcome Finish(FirmwareImage& image);

 private:
  void TakeHeader(std::string_view bytes);
  void TakePayload(std::string_view bytes);
  Outcome ReadHeader(std::string_view header);
  Outcome ReadLine(std::string_view line);

  FirmwareTrust trust_;
  std::string header_;  // as far as it has come
  bool inPayload_ = false;
  std::size_t length_ = 0;  // of the payload, from the header
  std::size_t payloadBytes_ = 0;
  std::string signature_;  // hexadecimal; "" without one
  FirmwareImage image_;
  crypto_hash_sha256_state hash_;
  Outcome outcome_;
};

// Reads an image from the descriptor's position to its end, in blocks. Returns the same as Finish;
// a file that can't be read counts as faulty.
Outcome VerifyFirmware(int descriptor, const FirmwareTrust& trust, FirmwareImage& image);
