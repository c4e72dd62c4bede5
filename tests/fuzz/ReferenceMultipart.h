// SPDX-License-Identifier: MIT
//
// How a multipart body is to be read, in the plainest words: one byte at a time, from a string,
// with nothing shared with the program. What it says is right.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

struct MultipartOutcome {
  int result = 0;                                           // of ParseUploadData
  std::vector<std::pair<std::string, std::string>> fields;  // as the store holds them
  std::optional<std::string> file;                          // the upload file, if there is one

  bool operator==(const MultipartOutcome& other) const {
    return result == other.result && fields == other.fields && file == other.file;
  }
};

MultipartOutcome ReferenceMultipart(const std::string& body, const std::string& boundary);
