// SPDX-License-Identifier: MIT
//
// The file that a page has uploaded. The rule to know: it stands in a folder where anybody may put
// anything, so only a regular file of our own user is ever opened, and no link is followed.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "sysmgr/Descriptor.h"

class UploadFile {
 public:
  explicit UploadFile(std::string path) : path_(std::move(path)) {}

  struct Opened {
    Descriptor file;      // for reading; below 0 when there is a problem
    std::size_t bytes;    // its size
    std::string problem;  // "" or a sentence for a page
  };
  Opened Open() const;

  // Reads all of it, at most `maxBytes`. "" or a sentence for a page, with `content` empty then.
  std::string Read(std::size_t maxBytes, std::string& content) const;

  // Removes it, if it is there. A link is removed, not what it points to.
  void Delete() const;

 private:
  std::string path_;
};
