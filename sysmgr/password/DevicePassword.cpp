// SPDX-License-Identifier: MIT
//
// The file has one line, "admin:" and a hash of crypt(3). SHA-512 is the one that all of the web
// servers can check, whichever C library they are linked with.
#include "sysmgr/password/DevicePassword.h"

#include <crypt.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "sysmgr/files/NewFile.h"
#include "sysmgr/files/TextFile.h"
#include "sysmgr/log/Log.h"

namespace {

constexpr std::string_view kMethod = "$6$";
constexpr std::string_view kSaltLetters =
    "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::size_t kHashSaltBytes = 16;

// For a label: no letter or digit that looks like another one.
constexpr std::string_view kMadeOf = "abcdefghjkmnpqrstuvwxyz23456789";
constexpr std::size_t kGroupLetters = 5;

std::string Random(std::string_view letters, std::size_t count) {
  if (sodium_init() < 0) throw std::bad_alloc();
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += letters[randombytes_uniform(static_cast<std::uint32_t>(letters.size()))];
  }
  return text;
}

// The hash of the password, made as `setting` says: a hash, or a method with its salt. "" when it
// can't be made.
std::string Hash(const std::string& password, const std::string& setting) {
  const char* const hash = crypt(password.c_str(), setting.c_str());
  return hash == nullptr || *hash == '*' ? "" : hash;
}

// "" when it can't be made.
std::string NewHash(const std::string& password) {
  return Hash(password, std::string(kMethod).append(Random(kSaltLetters, kHashSaltBytes)));
}

Outcome Write(const std::string& file, const std::string& hash) {
  NewFile next(file);
  struct stat folder {};
  if (geteuid() == 0 && stat(file.substr(0, file.rfind('/') + 1).c_str(), &folder) == 0 &&
      fchown(next.Number(), folder.st_uid, folder.st_gid) != 0) {
    return Sentence::kStorageFails;
  }
  Outcome outcome = next.Write(std::string(DevicePassword::kUser) + ":" + hash + "\n");
  return outcome.IsSuccess() ? next.Commit() : outcome;
}

// The hash in the file; "" without one.
std::string HashIn(const std::string& file) {
  TextFile text(file);
  const std::string begin = std::string(DevicePassword::kUser) + ":";
  for (std::string line; text.Next(line);) {
    if (line.compare(0, begin.size(), begin) == 0) return line.substr(begin.size());
  }
  return "";
}

}  // namespace

DevicePassword::DevicePassword(std::string file, std::string common, Clock clock, EventLog& log)
    : file_(std::move(file)), common_(std::move(common)), clock_(std::move(clock)), log_(log) {}

bool DevicePassword::IsSet() const {
  return !HashIn(file_).empty();
}

Outcome DevicePassword::Confirm(std::string_view given) {
  const std::string hash = HashIn(file_);
  if (hash.empty()) return {};
  if (clock_() < retry_) return Sentence::kTryPasswordAgain;
  if (Hash(std::string(given), hash) == hash) return {};
  retry_ = clock_() + kRetrySeconds;
  return Sentence::kDevicePasswordWrong;
}

Outcome DevicePassword::Store(const std::string& file, const std::string& password) {
  const std::string hash = NewHash(password);
  return hash.empty() ? Sentence::kNoMemory : Write(file, hash);
}

std::string DevicePassword::Make() {
  std::string password = Random(kMadeOf, kMadeLetters);
  for (std::size_t at = kMadeLetters - kGroupLetters; at > 0; at -= kGroupLetters) {
    password.insert(at, "-");
  }
  return password;
}

// Letters of either case are the same here, as they are to those who guess.
bool DevicePassword::IsCommon(std::string_view password) const {
  const auto isSame = [](char one, char other) {
    const auto small = [](char byte) {
      return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    };
    return small(one) == small(other);
  };
  TextFile text(common_);
  for (std::string line; text.Next(line);) {
    if (std::equal(line.begin(), line.end(), password.begin(), password.end(), isSame)) return true;
  }
  return false;
}

Outcome DevicePassword::CheckChange(const ActionRequest& request) {
  if (!IsSet()) return Sentence::kNoDevicePassword;
  const std::string_view password = request.Value();
  if (password != request.Parameter("Again")) return Sentence::kPasswordsDiffer;
  if (IsCommon(password)) return Sentence::kCommonPassword;
  return Confirm(request.Parameter("Old"));
}

void DevicePassword::Change(const ActionRequest& request, const OutcomeTaker& done) {
  const Outcome checked = CheckChange(request);
  if (!checked.IsSuccess()) return done(checked);
  const std::string hash = NewHash(std::string(request.Value()));
  if (hash.empty()) return done(Sentence::kNoMemory);
  const auto stored = std::make_shared<Outcome>(Sentence::kStorageFails);
  disk_(
      [this, hash, stored] {
        try {
          *stored = Write(file_, hash);
        } catch (const std::exception& error) {
          Log::Write("the password of the device is not stored: " + std::string(error.what()),
                     Log::Priority::kError);
        }
      },
      [this, stored, done] {
        if (stored->IsSuccess()) log_.Add(Sentence::kEventPassword);
        done(*stored);
      });
}

void DevicePassword::OfferTo(Sources& sources) {
  sources.OfferText("password-set", [this] { return IsSet() ? "1" : "0"; });
  sources.OfferAction(
      "change-password",
      [this](const ActionRequest& request, const OutcomeTaker& done) { Change(request, done); });
}
