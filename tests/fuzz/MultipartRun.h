// SPDX-License-Identifier: MIT
//
// The program's reading of a multipart body that arrives in pieces. The linker puts this file's
// functions in the place of read(), open(), unlink() and lstat(): the body comes from memory, and
// the upload file is one of this process's own.
#pragma once

#include <cstddef>
#include <string>

#include "tests/fuzz/ReferenceMultipart.h"

// Each read gets `pieceBytes` of the body, or as many as it asked for. The upload file is gone
// afterwards.
MultipartOutcome RunMultipart(const std::string& body, const std::string& boundary,
                              std::size_t pieceBytes);
