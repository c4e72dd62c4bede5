// SPDX-License-Identifier: MIT
//
// GIF files as a whole, between giflib and the bytes of a file.
#pragma once

#include <gif_lib.h>

#include <memory>
#include <string>

using Gif = std::unique_ptr<GifFileType, void (*)(GifFileType*)>;

// Null when the file is no whole GIF file.
Gif ReadGif(const std::string& path);

// What giflib writes for screen, palette and pictures; they stay the caller's.
std::string BytesOf(const GifFileType& gif);
