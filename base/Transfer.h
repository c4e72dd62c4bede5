// SPDX-License-Identifier: MIT
//
// Reads and writes through descriptors.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

// As read(), but tries again after a signal. Our own signal handlers restart the call anyway; those
// that a client library installs may not.
ssize_t ReadSome(int descriptor, char* bytes, std::size_t size);

// Reads on from the current position until `size` bytes are read or the file ends. Returns their
// number; below 0, with errno set, when reading failed.
ssize_t ReadUpTo(int descriptor, char* bytes, std::size_t size);

// Writes all bytes to a file. Returns false, with errno set, when that failed; some of the bytes
// may have been written.
bool WriteAll(int descriptor, std::string_view bytes);
