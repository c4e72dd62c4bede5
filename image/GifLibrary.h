// SPDX-License-Identifier: MIT
//
// giflib with the names of its version 4, which older devices have. Version 5 gave some functions a
// prefix and others an argument for an error code, which this program doesn't use.
#pragma once

#include <gif_lib.h>

#if defined(GIFLIB_MAJOR) && GIFLIB_MAJOR >= 5

inline GifFileType* DGifOpen(void* data, InputFunc read) {
  return DGifOpen(data, read, nullptr);
}
inline int DGifCloseFile(GifFileType* file) {
  return DGifCloseFile(file, nullptr);
}
inline GifFileType* EGifOpen(void* data, OutputFunc write) {
  return EGifOpen(data, write, nullptr);
}
inline GifFileType* EGifOpenFileHandle(int descriptor) {
  return EGifOpenFileHandle(descriptor, nullptr);
}
// Frees the handle and closes the descriptor, even on failure.
inline int EGifCloseFile(GifFileType* file) {
  return EGifCloseFile(file, nullptr);
}
inline ColorMapObject* MakeMapObject(int colorCount, const GifColorType* colors) {
  return GifMakeMapObject(colorCount, colors);
}
inline void FreeMapObject(ColorMapObject* map) {
  GifFreeMapObject(map);
}

#endif
