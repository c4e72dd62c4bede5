// SPDX-License-Identifier: MIT
#include "tests/GifFile.h"

#include <gif_lib.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tuple>

namespace {

ColorMapObject* MapOf(const GifFile::Palette& palette) {
  if (palette.empty()) return nullptr;
  ColorMapObject* map = GifMakeMapObject(static_cast<int>(palette.size()), nullptr);
  for (std::size_t i = 0; i < palette.size(); ++i) {
    map->Colors[i] = {palette[i][0], palette[i][1], palette[i][2]};
  }
  return map;
}

GifFile::Palette PaletteOf(const ColorMapObject* map) {
  GifFile::Palette palette;
  for (int i = 0; map != nullptr && i < map->ColorCount; ++i) {
    palette.push_back({map->Colors[i].Red, map->Colors[i].Green, map->Colors[i].Blue});
  }
  return palette;
}

int AppendTo(GifFileType* file, const GifByteType* bytes, int size) {
  static_cast<std::string*>(file->UserData)->append(bytes, bytes + size);
  return size;
}

int ReadFrom(GifFileType* file, GifByteType* bytes, int size) {
  auto& left = *static_cast<std::string_view*>(file->UserData);
  const std::size_t count =
      left.copy(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(size));
  left.remove_prefix(count);
  return static_cast<int>(count);
}

void AddPicture(GifFileType* file, const GifFile& gif) {
  SavedImage* image = GifMakeSavedImage(file, nullptr);
  image->ImageDesc = {gif.left,   gif.top,        gif.width,
                      gif.height, gif.interlaced, MapOf(gif.ownPalette)};
  image->RasterBits = static_cast<GifByteType*>(std::malloc(gif.pixels.size()));
  std::memcpy(image->RasterBits, gif.pixels.data(), gif.pixels.size());
  if (gif.transparent >= 0) {
    const GraphicsControlBlock control = {0, false, 0, gif.transparent};
    EGifGCBToSavedExtension(&control, file, file->ImageCount - 1);
  }
}

}  // namespace

bool operator==(const GifFile& left, const GifFile& right) {
  const auto fields = [](const GifFile& gif) {
    return std::tie(gif.screenWidth, gif.screenHeight, gif.colorBits, gif.background, gif.palette,
                    gif.left, gif.top, gif.width, gif.height, gif.interlaced, gif.ownPalette,
                    gif.pixels, gif.transparent, gif.pictures);
  };
  return fields(left) == fields(right);
}

GifFile PatternedGif(int width, int height) {
  GifFile gif;
  gif.screenWidth = gif.width = width;
  gif.screenHeight = gif.height = height;
  gif.colorBits = 8;
  for (unsigned char i = 0; i < 16; ++i) gif.palette.push_back({i, i, i});
  for (int i = 0; i < width * height; ++i) gif.pixels += static_cast<char>(i % 16);
  return gif;
}

std::string Encode(const GifFile& gif) {
  std::string text;
  GifFileType images = {};
  for (int i = 0; i < gif.pictures; ++i) AddPicture(&images, gif);
  ColorMapObject* map = MapOf(gif.palette);
  GifFileType* file = EGifOpen(&text, AppendTo, nullptr);
  file->SWidth = gif.screenWidth;
  file->SHeight = gif.screenHeight;
  file->SColorResolution = gif.colorBits;
  file->SBackGroundColor = gif.background;
  file->SColorMap = map;
  file->SavedImages = images.SavedImages;
  file->ImageCount = images.ImageCount;
  if (EGifSpew(file) != GIF_OK) text.clear();
  GifFreeMapObject(map);
  GifFreeSavedImages(&images);
  return text;
}

GifFile Decode(const std::string& text) {
  std::string_view left = text;
  GifFileType* file = DGifOpen(&left, ReadFrom, nullptr);
  GifFile gif;
  gif.pictures = 0;
  if (file == nullptr) return gif;
  if (DGifSlurp(file) == GIF_OK && left.empty()) {
    const SavedImage& image = file->SavedImages[0];
    const GifImageDesc& place = image.ImageDesc;
    gif = {file->SWidth,
           file->SHeight,
           file->SColorResolution,
           file->SBackGroundColor,
           PaletteOf(file->SColorMap),
           place.Left,
           place.Top,
           place.Width,
           place.Height,
           place.Interlace,
           PaletteOf(place.ColorMap),
           {image.RasterBits, image.RasterBits + place.Width * place.Height},
           -1,
           file->ImageCount};
    GraphicsControlBlock control;
    if (DGifSavedExtensionToGCB(file, 0, &control) == GIF_OK) {
      gif.transparent = control.TransparentColor;
    }
  }
  DGifCloseFile(file, nullptr);
  return gif;
}
