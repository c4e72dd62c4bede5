// SPDX-License-Identifier: MIT
//
// A ticket is four parts with dashes between them: the word of this object, its number, base, seen.
#include "sysmgr/device/Tickets.h"

#include <sodium.h>

#include <iterator>
#include <new>
#include <utility>

#include "base/Number.h"

namespace {

// Enough that no two starts of a device have the same.
constexpr std::size_t kEpochBytes = 8;

// Takes a number and the dash before it.
bool TakePart(std::string_view& text, std::uint64_t& number) {
  if (text.empty() || text.front() != '-') return false;
  text.remove_prefix(1);
  return TakeDecimal(text, number);
}

}  // namespace

Tickets::Tickets() {
  if (sodium_init() < 0) throw std::bad_alloc();
  unsigned char bytes[kEpochBytes];
  char word[2 * kEpochBytes + 1];
  randombytes_buf(bytes, sizeof bytes);
  key_.resize(crypto_generichash_KEYBYTES);
  randombytes_buf(key_.data(), key_.size());
  epoch_ = sodium_bin2hex(word, sizeof word, bytes, sizeof bytes);
}

std::string Tickets::HashOf(std::string_view content) const {
  const auto bytesOf = [](const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
  };
  unsigned char hash[crypto_generichash_BYTES_MIN];
  crypto_generichash(hash, sizeof hash, bytesOf(content.data()), content.size(),
                     bytesOf(key_.data()), key_.size());
  return std::string(std::begin(hash), std::end(hash));
}

std::string Tickets::Issue(std::uint64_t base, std::uint64_t seen) {
  std::string text = epoch_;
  for (const std::uint64_t part : {++last_, base, seen}) text += "-" + std::to_string(part);
  return text;
}

bool Tickets::Read(std::string_view text, Ticket& ticket) const {
  if (text.substr(0, epoch_.size()) != epoch_) return false;
  text.remove_prefix(epoch_.size());
  Ticket read;
  if (!TakePart(text, read.number) || !TakePart(text, read.base) || !TakePart(text, read.seen) ||
      !text.empty() || read.number == 0 || read.number > last_) {
    return false;
  }
  ticket = read;
  return true;
}

Outcome Tickets::Take(std::string_view text, std::string_view content, Ticket& ticket) {
  Ticket read;
  if (!Read(text, read)) return Sentence::kOldForm;
  read.content = HashOf(content);
  if (used_.count({read.number, read.content}) > 0) return Sentence::kDoneAlready;
  if (read.number <= floor_) return Sentence::kOldForm;
  used_.emplace(read.number, read.content);
  if (used_.size() > kMaxUsed) {
    floor_ = used_.begin()->first;
    used_.erase(used_.begin());
  }
  ticket = std::move(read);
  return {};
}
