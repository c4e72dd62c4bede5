// SPDX-License-Identifier: MIT
//
// Where the content of an uploaded part goes.
#pragma once

#include <string>
#include <string_view>

class UploadOutput {
 public:
  virtual ~UploadOutput() = default;

  // Appends; `bytes` are good for the call only. Failures are the output's own matter.
  virtual void Write(std::string_view bytes) = 0;
};

class DiscardedOutput : public UploadOutput {
 public:
  void Write(std::string_view /*bytes*/) override {}
};

class StringOutput : public UploadOutput {
 public:
  void Write(std::string_view bytes) override { text_ += bytes; }
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};
