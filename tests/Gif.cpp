// SPDX-License-Identifier: MIT
#include "tests/Gif.h"

Gif ReadGif(const std::string& path) {
  Gif gif(DGifOpenFileName(path.c_str(), nullptr),
          [](GifFileType* file) { DGifCloseFile(file, nullptr); });
  if (gif != nullptr && DGifSlurp(gif.get()) != GIF_OK) gif.reset();
  return gif;
}

std::string BytesOf(const GifFileType& gif) {
  std::string bytes;
  const auto append = [](GifFileType* file, const GifByteType* more, int size) {
    static_cast<std::string*>(file->UserData)->append(more, more + size);
    return size;
  };
  GifFileType* file = EGifOpen(&bytes, append, nullptr);
  file->SWidth = gif.SWidth;
  file->SHeight = gif.SHeight;
  file->SColorResolution = gif.SColorResolution;
  file->SBackGroundColor = gif.SBackGroundColor;
  file->SColorMap = gif.SColorMap;
  file->ImageCount = gif.ImageCount;
  file->SavedImages = gif.SavedImages;
  if (EGifSpew(file) != GIF_OK) bytes.clear();
  return bytes;
}
