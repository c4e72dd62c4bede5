// SPDX-License-Identifier: MIT
//
// Converts whole GIF files between giflib and the bytes of a file.
#pragma once

#include <gif_lib.h>

#include <memory>
#include <string>

using Gif = std::unique_ptr<GifFileType, void (*)(GifFileType*)>;

// Returns null when the file is not a whole GIF file.
Gif ReadGif(const std::string& path);

// The bytes that giflib writes for screen, palette and pictures, which stay with the caller.
std::string BytesOf(const GifFileType& gif);
