// SPDX-License-Identifier: MIT
//
// Receives the content of an uploaded part.
#pragma once

#include <string>
#include <string_view>

class UploadOutput {
 public:
  virtual ~UploadOutput() = default;

  // Appends `bytes`, which are valid during the call only. The output handles failures itself.
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
