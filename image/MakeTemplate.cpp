// SPDX-License-Identifier: MIT
//
// chart-template: makes the GIF templates of the status images at build time, with axes and grid
// but without a title. All positions follow from the constants by which the bars are drawn.
//
// usage: chart-template power|snr FILE
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "image/Chart.h"
#include "image/GifLibrary.h"
#include "image/TemplateGlyphs.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 424;
static_assert(kWidth >= Chart::kRequiredWidth && kHeight >= Chart::kRequiredHeight, "no room");

// Indices of the palette. The picture has a light background of its own, which suits any page. The
// palette holds the bars' colour because the program looks it up; nothing here is drawn in it.
enum Ink : unsigned char { kGround, kGrid, kReference, kAxis, kText, kBars };
constexpr GifColorType kPalette[] = {
    {255, 255, 255}, {228, 232, 237},
    {176, 186, 198}, {92, 104, 120},
    {52, 62, 76},    {Chart::kBarColor.red, Chart::kBarColor.green, Chart::kBarColor.blue},
    {255, 255, 255},  // a palette's size is a power of two
    {255, 255, 255},
};

// The lines around the bars.
constexpr int kLeft = Chart::kFirstColumn - 1;
constexpr int kRight = Chart::kFirstColumn + Chart::kBars;
constexpr int kTickPixels = 3;
constexpr int kLabelledTickPixels = 5;
constexpr int kLabelEvery = 5;  // decibels as well as megahertz
constexpr int kCharacterGap = 1;
constexpr int kLabelGap = 3;
constexpr int kUnitGap = 6;
constexpr int kHighestMegahertz = 30;

class Picture {
 public:
  Picture() : pixels_(std::size_t{kWidth} * kHeight, kGround) {}

  unsigned char* Pixels() { return pixels_.data(); }

  void Fill(int left, int top, int right, int bottom, Ink ink) {
    for (int y = top; y <= bottom; ++y) {
      for (int x = left; x <= right; ++x) Set(x, y, ink);
    }
  }

  void Write(int left, int top, const std::string& text) {
    for (const char character : text) {
      const Glyph& glyph = GlyphOf(character);
      for (int y = 0; y < kGlyphRows; ++y) {
        const char* row = glyph.rows[static_cast<std::size_t>(y)];
        for (int x = 0; row[x] != '\0'; ++x) {
          if (row[x] == '#') Set(left + x, top + y, kText);
        }
      }
      left += WidthOf(glyph) + kCharacterGap;
    }
  }

  static int WidthOf(const std::string& text) {
    int width = -kCharacterGap;
    for (const char character : text) width += WidthOf(GlyphOf(character)) + kCharacterGap;
    return width;
  }

 private:
  static const Glyph& GlyphOf(char character) {
    for (const Glyph& glyph : kGlyphs) {
      if (glyph.character == character) return glyph;
    }
    return kGlyphs[0];
  }

  static int WidthOf(const Glyph& glyph) { return static_cast<int>(std::strlen(glyph.rows[0])); }

  void Set(int x, int y, Ink ink) {
    if (x < 0 || y < 0 || x >= kWidth || y >= kHeight) return;
    pixels_[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)] = ink;
  }

  std::vector<unsigned char> pixels_;
};

struct Scale {
  const char* name;
  double lowest, highest;  // decibels
};
constexpr Scale kScales[] = {
    {"power", Chart::kPowerLowestDecibels, Chart::kPowerHighestDecibels},
    {"snr", Chart::kSnrLowestDecibels, Chart::kSnrHighestDecibels},
};

int RowOf(const Scale& scale, double decibels) {
  return Chart::kBaseRow - static_cast<int>((decibels - scale.lowest) * Chart::kRowsPerDecibel);
}

int ColumnOf(int megahertz) {
  const double carrier =
      (megahertz - Chart::kFirstCarrierMegahertz) / Chart::kCarrierSpacingMegahertz;
  return Chart::kFirstColumn + static_cast<int>(carrier / Chart::kCarriersPerBar);
}

void DrawDecibels(Picture& picture, const Scale& scale) {
  const int top = RowOf(scale, scale.highest);
  for (int level = static_cast<int>(scale.lowest); level <= scale.highest; ++level) {
    const int row = RowOf(scale, level);
    const bool labelled = level % kLabelEvery == 0;
    const int tick = labelled ? kLabelledTickPixels : kTickPixels;
    picture.Fill(kLeft - tick, row, kLeft - 1, row, kAxis);
    if (!labelled) continue;
    picture.Fill(kLeft, row, kRight, row, level == 0 ? kReference : kGrid);
    const std::string label = std::to_string(level);
    picture.Write(kLeft - tick - kLabelGap - Picture::WidthOf(label), row - kGlyphRows / 2, label);
  }
  picture.Fill(kLeft, top, kRight, top, kGrid);
  picture.Write(kLeft - kLabelledTickPixels - kLabelGap - Picture::WidthOf("dB"),
                top - kUnitGap - kGlyphRows, "dB");
}

void DrawMegahertz(Picture& picture, const Scale& scale) {
  const int labels = Chart::kBaseRow + kLabelledTickPixels + kLabelGap;
  for (int megahertz = static_cast<int>(std::ceil(Chart::kFirstCarrierMegahertz));
       megahertz <= kHighestMegahertz; ++megahertz) {
    const int column = ColumnOf(megahertz);
    const bool labelled = megahertz % kLabelEvery == 0;
    const int tick = labelled ? kLabelledTickPixels : kTickPixels;
    picture.Fill(column, Chart::kBaseRow + 1, column, Chart::kBaseRow + tick, kAxis);
    if (!labelled) continue;
    // A line there would double the right edge.
    if (column + 1 < kRight) {
      picture.Fill(column, RowOf(scale, scale.highest), column, Chart::kBaseRow, kGrid);
    }
    const std::string label = std::to_string(megahertz);
    picture.Write(column - Picture::WidthOf(label) / 2, labels, label);
  }
  picture.Write((kLeft + kRight - Picture::WidthOf("MHz")) / 2, labels + kGlyphRows + kUnitGap,
                "MHz");
}

void Draw(Picture& picture, const Scale& scale) {
  DrawMegahertz(picture, scale);
  DrawDecibels(picture, scale);
  const int top = RowOf(scale, scale.highest);
  picture.Fill(kRight, top, kRight, Chart::kBaseRow, kGrid);
  picture.Fill(kLeft, top, kLeft, Chart::kBaseRow, kAxis);
  picture.Fill(kLeft, Chart::kBaseRow, kRight, Chart::kBaseRow, kAxis);
}

// Memory from giflib is freed when the process ends.
bool Write(Picture& picture, const char* path) {
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0) return false;
  GifFileType* output = EGifOpenFileHandle(descriptor);
  ColorMapObject* map = MakeMapObject(static_cast<int>(std::size(kPalette)), kPalette);
  if (output == nullptr || map == nullptr) return false;
  SavedImage image = {};
  image.ImageDesc.Width = kWidth;
  image.ImageDesc.Height = kHeight;
  image.RasterBits = picture.Pixels();
  output->SWidth = kWidth;
  output->SHeight = kHeight;
  output->SColorResolution = 8;
  output->SBackGroundColor = kGround;
  output->SColorMap = map;
  output->ImageCount = 1;
  output->SavedImages = &image;
  const bool written = EGifSpew(output) == GIF_OK;
  FreeMapObject(map);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  for (const Scale& scale : kScales) {
    if (argc != 3 || std::strcmp(argv[1], scale.name) != 0) continue;
    Picture picture;
    Draw(picture, scale);
    if (Write(picture, argv[2])) return 0;
    std::remove(argv[2]);
    std::fprintf(stderr, "chart-template: could not write %s\n", argv[2]);
    return 1;
  }
  std::fprintf(stderr, "usage: chart-template power|snr FILE\n");
  return 2;
}
