// SPDX-License-Identifier: MIT
//
// The header is collected until its empty line, read whole and forgotten; from there on bytes are
// only counted and hashed.
#include "sysmgr/firmware/FirmwareImage.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "base/Characters.h"
#include "base/Number.h"
#include "base/Transfer.h"

namespace {

constexpr std::string_view kMagic = "VISTEL-FIRMWARE ";
constexpr std::string_view kHeaderVersion = "1";
constexpr std::string_view kHeaderEnd = "\n\n";
constexpr std::size_t kMaxHeaderVersionDigits = 9;

constexpr std::string_view kModel = "Model";
constexpr std::string_view kVersion = "Version";
constexpr std::string_view kLength = "Length";
constexpr std::string_view kSha256 = "SHA-256";

// Large enough that a system call is nothing beside the hashing of it.
constexpr std::size_t kBlockBytes = 65536;

constexpr std::size_t kHashDigits = std::size_t{2} * crypto_hash_sha256_BYTES;

constexpr const char* kNoImage = "This file is no firmware image.";
constexpr const char* kUnknownLine = "The header of the firmware image holds an unknown line.";

std::string InHeader(const char* what, std::string_view name) {
  return "The header of the firmware image " + std::string(what) + " " + std::string(name) + ".";
}

// Pages show names, and nothing in them may mean something to a page.
bool IsName(std::string_view text, std::string_view more) {
  const auto isFine = [more](char byte) {
    return IsAsciiAlphanumeric(byte) || more.find(byte) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= FirmwareImage::kMaxNameBytes &&
         std::all_of(text.begin(), text.end(), isFine);
}

bool IsHash(std::string_view text) {
  return text.size() == kHashDigits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// What is wrong with a first line that should be that of an image.
std::string FaultOfFirstLine(std::string_view line) {
  if (line.substr(0, kMagic.size()) != kMagic) return kNoImage;
  line.remove_prefix(kMagic.size());
  if (line == kHeaderVersion) return "";
  if (line.empty() || line.size() > kMaxHeaderVersionDigits ||
      !std::all_of(line.begin(), line.end(), IsAsciiDigit)) {
    return kNoImage;
  }
  return "The firmware image has a header of version " + std::string(line) +
         ", and this device knows version " + std::string(kHeaderVersion) + ".";
}

}  // namespace

FirmwareVerifier::FirmwareVerifier(std::string model) : model_(std::move(model)), hash_() {
  crypto_hash_sha256_init(&hash_);
}

bool FirmwareVerifier::Take(std::string_view bytes) {
  if (problem_.empty() && !bytes.empty()) {
    if (inPayload_) {
      TakePayload(bytes);
    } else {
      TakeHeader(bytes);
    }
  }
  return problem_.empty();
}

void FirmwareVerifier::TakeHeader(std::string_view bytes) {
  const std::size_t before = header_.size();
  header_.append(bytes.substr(0, FirmwareImage::kMaxHeaderBytes - before));
  const std::size_t end = header_.find(kHeaderEnd);
  const std::string_view begin = std::string_view(header_).substr(0, kMagic.size());
  if (kMagic.substr(0, begin.size()) != begin) {
    problem_ = kNoImage;
    return;
  }
  // Lines that end otherwise would never come to the header's end.
  if (header_.find('\r') < end) {
    problem_ = kUnknownLine;
    return;
  }
  if (end == std::string::npos) {
    if (header_.size() == FirmwareImage::kMaxHeaderBytes) {
      problem_ = "The header of the firmware image is longer than " +
                 std::to_string(FirmwareImage::kMaxHeaderBytes) + " bytes.";
    }
    return;
  }
  header_.resize(end + kHeaderEnd.size());
  problem_ = ReadHeader(std::string_view(header_).substr(0, end + 1));
  inPayload_ = true;
  if (problem_.empty()) TakePayload(bytes.substr(header_.size() - before));
}

void FirmwareVerifier::TakePayload(std::string_view bytes) {
  payloadBytes_ += bytes.size();
  if (payloadBytes_ > length_) {
    problem_ = "The firmware image is longer than its header says.";
    return;
  }
  crypto_hash_sha256_update(&hash_, reinterpret_cast<const unsigned char*>(bytes.data()),
                            bytes.size());
}

// The lines of a header, each with its newline, without the empty one.
std::string FirmwareVerifier::ReadHeader(std::string_view header) {
  const auto hash = [this](std::string_view line) {
    crypto_hash_sha256_update(&hash_, reinterpret_cast<const unsigned char*>(line.data()),
                              line.size());
  };
  for (std::size_t begin = 0; begin < header.size();) {
    const std::size_t end = header.find('\n', begin);
    const std::string_view line = header.substr(begin, end - begin);
    std::string problem = begin == 0 ? FaultOfFirstLine(line) : ReadLine(line);
    if (!problem.empty()) return problem;
    if (line.substr(0, kSha256.size()) != kSha256) hash(header.substr(begin, end + 1 - begin));
    begin = end + 1;
  }
  hash("\n");
  const std::array<std::pair<std::string_view, bool>, 4> kFound = {
      {{kModel, !image_.model.empty()},
       {kVersion, !image_.version.empty()},
       {kLength, length_ != 0},
       {kSha256, !image_.sha256.empty()}}};
  for (const auto& [name, found] : kFound) {
    if (!found) return InHeader("lacks the line", name);
  }
  if (image_.model != model_) {
    return "The firmware image is for another device, the model " + image_.model + ".";
  }
  if (length_ > FirmwareImage::kMaxBytes - header_.size()) {
    return "The firmware image would be larger than " + std::to_string(FirmwareImage::kMaxBytes) +
           " bytes.";
  }
  return "";
}

std::string FirmwareVerifier::ReadLine(std::string_view line) {
  constexpr std::string_view kSeparator = ": ";
  const std::size_t colon = line.find(kSeparator);
  const std::string_view name = line.substr(0, colon);
  const std::string_view value =
      colon == std::string_view::npos ? "" : line.substr(colon + kSeparator.size());
  bool isNew = true;
  bool isFine = true;
  if (name == kModel) {
    isNew = image_.model.empty();
    isFine = IsName(value, " ._-");
    image_.model = value;
  } else if (name == kVersion) {
    isNew = image_.version.empty();
    isFine = IsName(value, "._+-");
    image_.version = value;
  } else if (name == kLength) {
    isNew = length_ == 0;
    isFine = ParseDecimal(value, length_) && length_ > 0;
  } else if (name == kSha256) {
    isNew = image_.sha256.empty();
    isFine = IsHash(value);
    image_.sha256 = value;
  } else {
    return kUnknownLine;
  }
  if (!isNew) return InHeader("has two lines", name);
  return isFine ? "" : InHeader("has a faulty line", name);
}

std::string FirmwareVerifier::Finish(FirmwareImage& image) {
  if (problem_.empty() && !inPayload_) {
    problem_ = header_.size() < kMagic.size() ? kNoImage : "The firmware image is cut off.";
  }
  if (problem_.empty() && payloadBytes_ < length_) problem_ = "The firmware image is cut off.";
  if (!problem_.empty()) return problem_;
  std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
  crypto_hash_sha256_final(&hash_, hash.data());
  std::array<char, kHashDigits + 1> text{};
  sodium_bin2hex(text.data(), text.size(), hash.data(), hash.size());
  if (image_.sha256 != text.data()) {
    return "The firmware image is damaged: its SHA-256 checksum is another one.";
  }
  image_.bytes = header_.size() + payloadBytes_;
  image = image_;
  return "";
}

std::string VerifyFirmware(int descriptor, const std::string& model, FirmwareImage& image) {
  FirmwareVerifier verifier(model);
  std::vector<char> block(kBlockBytes);
  for (;;) {
    const ssize_t count = ReadSome(descriptor, block.data(), block.size());
    if (count < 0) return "The firmware image can not be read.";
    if (count == 0 || !verifier.Take({block.data(), static_cast<std::size_t>(count)})) break;
  }
  return verifier.Finish(image);
}
