// SPDX-License-Identifier: MIT
//
// A file is a header (a line of text, salt, nonce) and the sealed text, which also authenticates
// the header.
#include "sysmgr/configuration/ConfigurationCipher.h"

#include <sodium.h>

#include <new>

namespace {

// The line without its version and newline, which all versions of these files begin with.
constexpr std::string_view kMagic = "vistel-configuration ";
constexpr std::string_view kLine = "vistel-configuration 1\n";
constexpr std::size_t kSaltBytes = crypto_pwhash_SALTBYTES;
constexpr std::size_t kNonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t kKeyBytes = crypto_aead_xchacha20poly1305_ietf_KEYBYTES;
constexpr std::size_t kTagBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr std::size_t kHeaderBytes = kLine.size() + kSaltBytes + kNonceBytes;

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* Bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

void Initialise() {
  // Further calls cost nothing.
  if (sodium_init() < 0) throw std::bad_alloc();
}

std::string Random(std::size_t size) {
  std::string bytes(size, '\0');
  randombytes_buf(bytes.data(), bytes.size());
  return bytes;
}

// Returns false when there is not enough memory.
bool Derive(const std::string& password, std::string_view salt, std::string& key) {
  key.resize(kKeyBytes);
  return crypto_pwhash(Bytes(key), key.size(), password.data(), password.size(), Bytes(salt),
                       ConfigurationCipher::kHashPasses, ConfigurationCipher::kHashMemoryBytes,
                       crypto_pwhash_ALG_ARGON2ID13) == 0;
}

}  // namespace

void Secret::Wipe(std::string& text) {
  sodium_memzero(text.data(), text.size());
  text.clear();
}

void ConfigurationCipher::Forget() {
  Secret::Wipe(password_);
  Secret::Wipe(key_);
}

Outcome ConfigurationCipher::Seal(std::string_view plain, const std::string& password,
                                  std::string& sealed) {
  Initialise();
  if (password_ != password) {
    Forget();
    salt_ = Random(kSaltBytes);
    if (!Derive(password, salt_, key_)) return Sentence::kNoMemory;
    password_ = password;
  }
  // Nonces of this length are long enough to be chosen at random for any number of files with one
  // key.
  sealed = std::string(kLine) + salt_ + Random(kNonceBytes);
  sealed.resize(kHeaderBytes + plain.size() + kTagBytes);
  crypto_aead_xchacha20poly1305_ietf_encrypt(
      Bytes(sealed) + kHeaderBytes, nullptr, Bytes(plain), plain.size(), Bytes(sealed),
      kHeaderBytes, nullptr, Bytes(sealed) + kLine.size() + kSaltBytes, Bytes(key_));
  return {};
}

bool ConfigurationCipher::IsSealed(std::string_view file) {
  return file.substr(0, kMagic.size()) == kMagic;
}

Outcome ConfigurationCipher::Open(std::string_view file, const std::string& password,
                                  Secret& plain) {
  Initialise();
  Secret::Wipe(plain.Text());
  if (file.substr(0, kLine.size()) != kLine) return Sentence::kUnknownCipher;
  if (file.size() < kHeaderBytes + kTagBytes) return Sentence::kWrongPassword;
  Secret key;
  if (!Derive(password, file.substr(kLine.size(), kSaltBytes), key.Text())) {
    return Sentence::kNoMemoryToDecrypt;
  }
  plain.Text().resize(file.size() - kHeaderBytes - kTagBytes);
  const std::string_view sealed = file.substr(kHeaderBytes);
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(
          Bytes(plain.Text()), nullptr, nullptr, Bytes(sealed), sealed.size(), Bytes(file),
          kHeaderBytes, Bytes(file) + kLine.size() + kSaltBytes, Bytes(key.Text())) != 0) {
    plain.Text().clear();
    return Sentence::kWrongPassword;
  }
  return {};
}
