// SPDX-License-Identifier: MIT
//
// The secret that clients send with every request; it is never logged. The rule to know: the file
// counts as it is at each request. While there is none that can be used, nobody is authorised.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

class Authorisation {
 public:
  // A secret is a short line.
  static constexpr std::size_t kMaxBytes = 4096;

  // Reads the content of the file without a final newline. `isOpen`: without the file, no secret is
  // expected, and clients send the empty text. Throws StartFailure when the file can't be used: its
  // mode allows more than 0640, it is not a regular file, it is empty or too long, it can't be
  // read, or it is not there and needed.
  Authorisation(std::string path, bool isOpen);

  // Whether a client that shows this is authorised. Reads a changed file again. Takes a time that
  // depends only on the size of `shown` and of the secret.
  bool Admits(std::string_view shown);

  // Whether no secret is expected, because there is no file.
  bool AdmitsEverybody() const { return state_ == State::kEverybody; }

  // Reads the file again, changed or not.
  void Reload();

 private:
  enum class State { kNobody, kSecret, kEverybody };

  // Reads the file. Returns what is wrong, "" for nothing.
  std::string Read();
  std::string ReadSecret(std::string& secret);
  void ReadChanged(bool isTold);

  std::string path_;
  bool isOpen_;
  State state_ = State::kNobody;
  std::string secret_;
  struct stat seen_ = {};   // the file that was read last; zero when there was none
  bool isSettled_ = false;  // a change of that file shows in its times
};
