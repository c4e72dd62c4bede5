// SPDX-License-Identifier: MIT
//
// GIF files for tests, made and taken apart in memory.
#pragma once

#include <array>
#include <string>
#include <vector>

struct GifFile {
  using Color = std::array<unsigned char, 3>;
  using Palette = std::vector<Color>;  // of a power of two colours, or empty for none

  int screenWidth = 0;
  int screenHeight = 0;
  int colorBits = 0;
  int background = 0;
  Palette palette;

  int left = 0;  // of the picture, on the screen
  int top = 0;
  int width = 0;
  int height = 0;
  bool interlaced = false;
  Palette ownPalette;  // the picture's
  std::string pixels;  // indices, row by row
  int transparent = -1;
  int pictures = 1;  // how many times the picture is in the file
};

bool operator==(const GifFile& left, const GifFile& right);

// Of `width` and `height`, each pixel's index its position modulo 16, with a palette of 16 greys.
GifFile PatternedGif(int width, int height);

std::string Encode(const GifFile& gif);

// Without pictures when the text is no whole GIF file, and when bytes follow behind its end.
GifFile Decode(const std::string& text);
