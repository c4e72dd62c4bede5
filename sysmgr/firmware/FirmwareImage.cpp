// SPDX-License-Identifier: MIT
//
// The header is collected up to its empty line, read whole and forgotten; the bytes after it are
// only counted and hashed.
#include "sysmgr/firmware/FirmwareImage.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "base/Characters.h"
#include "base/Number.h"
#include "base/Transfer.h"
#include "base/Utf8.h"

namespace {

constexpr std::string_view kImageMagic = "VISTEL-FIRMWARE ";
constexpr std::string_view kHeaderVersion = "1";
constexpr std::string_view kHeaderEnd = "\n\n";
constexpr std::size_t kMaxHeaderVersionDigits = 9;

constexpr std::string_view kSeparator = ": ";
constexpr std::string_view kModelField = "Model";
constexpr std::string_view kVersionField = "Version";
constexpr std::string_view kLengthField = "Length";
constexpr std::string_view kSha256Field = "SHA-256";
constexpr std::string_view kSignatureField = "Signature";

constexpr std::size_t kHashDigits = std::size_t{2} * crypto_hash_sha256_BYTES;
constexpr std::size_t kSignatureDigits = std::size_t{2} * crypto_sign_BYTES;

// A failure about a line of the header, which may hold any text.
Outcome AtLine(Sentence sentence, std::string_view line) {
  std::string shown;
  Utf8::AppendSafe(shown, line.substr(0, FirmwareImage::kMaxNameBytes));
  return Outcome(sentence).AboutName(shown);
}

// Pages show names, so names hold no character with a meaning in HTML.
bool IsName(std::string_view text, std::string_view more) {
  const auto isFine = [more](char byte) {
    return IsAsciiAlphanumeric(byte) || more.find(byte) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= FirmwareImage::kMaxNameBytes &&
         std::all_of(text.begin(), text.end(), isFine);
}

bool IsHexadecimal(std::string_view text, std::size_t digits) {
  return text.size() == digits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// What is wrong with the first line of a file that should be an image.
Outcome FaultOfFirstLine(std::string_view line) {
  if (line.substr(0, kImageMagic.size()) != kImageMagic) return Sentence::kNoImage;
  const std::string_view version = line.substr(kImageMagic.size());
  if (version == kHeaderVersion) return {};
  if (version.empty() || version.size() > kMaxHeaderVersionDigits ||
      !std::all_of(version.begin(), version.end(), IsAsciiDigit)) {
    return Sentence::kNoImage;
  }
  return AtLine(Sentence::kUnknownHeader, line);
}

}  // namespace

FirmwareVerifier::FirmwareVerifier(FirmwareTrust trust) : trust_(std::move(trust)), hash_() {
  crypto_hash_sha256_init(&hash_);
}

bool FirmwareVerifier::Take(std::string_view bytes) {
  if (outcome_.IsSuccess() && !bytes.empty()) {
    if (inPayload_) {
      TakePayload(bytes);
    } else {
      TakeHeader(bytes);
    }
  }
  return outcome_.IsSuccess();
}

void FirmwareVerifier::TakeHeader(std::string_view bytes) {
  const std::size_t before = header_.size();
  header_.append(bytes.substr(0, FirmwareImage::kMaxHeaderBytes - before));
  const std::size_t end = header_.find(kHeaderEnd);
  const std::string_view begin = std::string_view(header_).substr(0, kImageMagic.size());
  if (kImageMagic.substr(0, begin.size()) != begin) {
    outcome_ = Sentence::kNoImage;
    return;
  }
  // With other line ends, the end of the header would never be found.
  if (header_.find('\r') < end) {
    outcome_ = Sentence::kUnknownHeaderLine;
    return;
  }
  if (end == std::string::npos) {
    if (header_.size() == FirmwareImage::kMaxHeaderBytes) outcome_ = Sentence::kHeaderTooLong;
    return;
  }
  header_.resize(end + kHeaderEnd.size());
  outcome_ = ReadHeader(std::string_view(header_).substr(0, end + 1));
  inPayload_ = true;
  if (outcome_.IsSuccess()) TakePayload(bytes.substr(header_.size() - before));
}

void FirmwareVerifier::TakePayload(std::string_view bytes) {
  payloadBytes_ += bytes.size();
  if (payloadBytes_ > length_) {
    outcome_ = Sentence::kImageTooLong;
    return;
  }
  crypto_hash_sha256_update(&hash_, reinterpret_cast<const unsigned char*>(bytes.data()),
                            bytes.size());
}

// `header`: the lines of a header, each with its newline, without the empty one.
Outcome FirmwareVerifier::ReadHeader(std::string_view header) {
  const auto hash = [this](std::string_view line) {
    crypto_hash_sha256_update(&hash_, reinterpret_cast<const unsigned char*>(line.data()),
                              line.size());
  };
  for (std::size_t begin = 0; begin < header.size();) {
    const std::size_t end = header.find('\n', begin);
    const std::string_view line = header.substr(begin, end - begin);
    Outcome outcome = begin == 0 ? FaultOfFirstLine(line) : ReadLine(line);
    if (!outcome.IsSuccess()) return outcome;
    const bool isAbout = line.substr(0, kSha256Field.size()) == kSha256Field ||
                         line.substr(0, kSignatureField.size()) == kSignatureField;
    if (!isAbout) hash(header.substr(begin, end + 1 - begin));
    begin = end + 1;
  }
  hash("\n");
  const std::array<std::pair<std::string_view, bool>, 4> kFound = {
      {{kModelField, !image_.model.empty()},
       {kVersionField, !image_.version.empty()},
       {kLengthField, length_ != 0},
       {kSha256Field, !image_.sha256.empty()}}};
  for (const auto& [name, found] : kFound) {
    if (!found) return AtLine(Sentence::kHeaderLineMissing, name);
  }
  if (image_.model != trust_.model) {
    return AtLine(Sentence::kImageForOther,
                  std::string(kModelField).append(kSeparator).append(image_.model));
  }
  if (length_ > FirmwareImage::kMaxBytes - header_.size()) return Sentence::kImageTooLarge;
  return {};
}

Outcome FirmwareVerifier::ReadLine(std::string_view line) {
  const std::size_t colon = line.find(kSeparator);
  const std::string_view name = line.substr(0, colon);
  const std::string_view value =
      colon == std::string_view::npos ? "" : line.substr(colon + kSeparator.size());
  bool isNew = true;
  bool isFine = true;
  if (name == kModelField) {
    isNew = image_.model.empty();
    isFine = IsName(value, " ._-");
    image_.model = value;
  } else if (name == kVersionField) {
    isNew = image_.version.empty();
    isFine = IsName(value, "._+-");
    image_.version = value;
  } else if (name == kLengthField) {
    isNew = length_ == 0;
    isFine = ParseDecimal(value, length_) && length_ > 0;
  } else if (name == kSha256Field) {
    isNew = image_.sha256.empty();
    isFine = IsHexadecimal(value, kHashDigits);
    image_.sha256 = value;
  } else if (name == kSignatureField) {
    isNew = signature_.empty();
    isFine = IsHexadecimal(value, kSignatureDigits);
    signature_ = value;
  } else {
    return AtLine(Sentence::kUnknownHeaderLine, line);
  }
  if (!isNew) return AtLine(Sentence::kHeaderLineTwice, name);
  if (!isFine) return AtLine(Sentence::kFaultyHeaderLine, line);
  return {};
}

Outcome FirmwareVerifier::Finish(FirmwareImage& image) {
  if (outcome_.IsSuccess() && !inPayload_) {
    outcome_ = header_.size() < kImageMagic.size() ? Sentence::kNoImage : Sentence::kImageCut;
  }
  if (outcome_.IsSuccess() && payloadBytes_ < length_) outcome_ = Sentence::kImageCut;
  if (!outcome_.IsSuccess()) return outcome_;
  std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
  crypto_hash_sha256_final(&hash_, hash.data());
  std::array<char, kHashDigits + 1> text{};
  sodium_bin2hex(text.data(), text.size(), hash.data(), hash.size());
  if (image_.sha256 != text.data()) return Sentence::kImageDamaged;
  Outcome trusted = trust_.Check(signature_, image_.sha256);
  if (!trusted.IsSuccess()) return trusted;
  image_.bytes = header_.size() + payloadBytes_;
  image = image_;
  return {};
}

Outcome VerifyFirmware(int descriptor, const FirmwareTrust& trust, FirmwareImage& image) {
  FirmwareVerifier verifier(trust);
  std::vector<char> block(FirmwareImage::kBlockBytes);
  for (;;) {
    const ssize_t count = ReadSome(descriptor, block.data(), block.size());
    if (count < 0) return Sentence::kImageNotReadable;
    if (count == 0 || !verifier.Take({block.data(), static_cast<std::size_t>(count)})) break;
  }
  return verifier.Finish(image);
}
