// SPDX-License-Identifier: MIT
#include "image/ImageGenerator.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>

#include "base/Number.h"
#include "base/RegularFile.h"
#include "base/Response.h"
#include "base/Transfer.h"
#include "image/GifLibrary.h"
#include "image/GifTemplate.h"
#include "query/SysMgr.h"

namespace {

// Reads the first numbers of a list with commas between them. A comma ends a number for WGLToInt,
// so the numbers need not be copied out.
Chart::Values<std::uint32_t> ReadList(const std::string& list) {
  Chart::Values<std::uint32_t> values = {};
  std::size_t at = 0;
  for (std::uint32_t& value : values) {
    value = static_cast<std::uint32_t>(WGLToInt(list.c_str() + at));
    const std::size_t comma = list.find(',', at);
    if (comma == std::string::npos) break;
    at = comma + 1;
  }
  return values;
}

Chart::Values<std::uint32_t> QueryPower() {
  const StringTable query(std::string("HomePlug.OutputPower"), kQueryText);
  return ReadList(SysMgr_Query(query).Get(0, 0));
}

// Reads the file and removes it, because it was made for this request only.
Chart::Values<double> TakeFile(const std::string& path) {
  Chart::Values<double> values = {};
  const OpenedFile file = OpenRegularFile(path);
  if (!file.descriptor.IsOpen()) {
    syslog(LOG_ERR, "Could not open SNR file '%s'", path.c_str());
    return values;
  }
  ReadUpTo(file.descriptor.Number(), reinterpret_cast<char*>(values.data()), sizeof values);
  unlink(path.c_str());
  return values;
}

Chart::Values<double> QuerySnr(const std::string& macAddress) {
  const StringTable query("HomePlug.SNR{MacAddress=" + macAddress + "}:format=scalar", kQueryText);
  const StringTable answer = SysMgr_Query(query);
  if (answer.Rows() != 1) {
    syslog(LOG_ERR, "Wrong row count in SNR query response: %d instead of 1",
           static_cast<int>(answer.Rows()));
    return {};
  }
  return TakeFile(answer.Get(0, 0));
}

// Draws pixel by pixel: giflib's rectangle makes a call for each row, which for bars of one column
// takes a fifth of the whole response.
void DrawBar(SavedImage& image, int bar, int height, int color) {
  const int column = Chart::kFirstColumn + bar;
  const int width = image.ImageDesc.Width;
  const int bottom = std::min(Chart::kBaseRow, static_cast<int>(image.ImageDesc.Height));
  if (column >= width) return;
  for (int row = Chart::kBaseRow - height; row < bottom; ++row) {
    image.RasterBits[row * width + column] = static_cast<GifByteType>(color);
  }
}

void WarnOfSmallImage(const SavedImage& image, const std::string& path) {
  const int width = image.ImageDesc.Width;
  const int height = image.ImageDesc.Height;
  if (width >= Chart::kRequiredWidth && height >= Chart::kRequiredHeight) return;
  syslog(LOG_ERR, "GIF image '%s' is too small for its chart: %d x %d instead of %d x %d",
         path.c_str(), width, height, Chart::kRequiredWidth, Chart::kRequiredHeight);
}

// `fetch` gets the values and `modify` draws them. Fetches values even if there is no picture to
// draw them into, but not if the output is closed: the connection would get its descriptor.
template <class Fetch, class Modify>
bool MakeImage(const std::string& templatePath, Fetch fetch, Modify modify) {
  if (!IsStandardOutputOpen()) {
    Response::Lose();
    return false;
  }
  const auto values = fetch();
  GifTemplate image(templatePath);
  if (image.Image() == nullptr) return false;
  WarnOfSmallImage(image.Image()->SavedImages[0], templatePath);
  modify(image.Image(), values);
  return Response::IsWhole() && image.WriteToStandardOutput();
}

void LogFailure(const std::string& templatePath) {
  syslog(LOG_ERR, "Error modifying GIF image '%s'", templatePath.c_str());
}

}  // namespace

void ImageGenerator::MakeImagePower(const std::string& templatePath) const {
  const auto modify = [this](GifFileType* image, const Chart::Values<std::uint32_t>& values) {
    ModifyImagePower(image, values);
  };
  if (!MakeImage(templatePath, QueryPower, modify)) LogFailure(templatePath);
}

void ImageGenerator::MakeImageSNR(const std::string& templatePath,
                                  const std::string& macAddress) const {
  const auto fetch = [&macAddress] { return QuerySnr(macAddress); };
  const auto modify = [this](GifFileType* image, const Chart::Values<double>& values) {
    ModifyImageSNR(image, values);
  };
  if (!MakeImage(templatePath, fetch, modify)) LogFailure(templatePath);
}

void ImageGenerator::ModifyImagePower(GifFileType* image,
                                      const Chart::Values<std::uint32_t>& values) const {
  DrawBars(image, values, Chart::PowerHeight);
}

void ImageGenerator::ModifyImageSNR(GifFileType* image, const Chart::Values<double>& values) const {
  DrawBars(image, values, Chart::SnrHeight);
}

int ImageGenerator::FindColorIndex(const GifFileType* image, int red, int green, int blue) {
  const ColorMapObject* map = image->SColorMap;
  int index = map != nullptr ? map->ColorCount : 0;
  while (--index >= 0) {
    const GifColorType& color = map->Colors[index];
    if (color.Red == red && color.Green == green && color.Blue == blue) break;
  }
  return index;
}

template <class Value>
void ImageGenerator::DrawBars(GifFileType* image, const Chart::Values<Value>& values,
                              int (*height)(double)) {
  const int color =
      FindColorIndex(image, Chart::kBarColor.red, Chart::kBarColor.green, Chart::kBarColor.blue);
  if (color < 0) {
    syslog(LOG_ERR, "Could not find color index for SNR graph");
    return;
  }
  for (int bar = 0; bar < Chart::kBars; ++bar) {
    DrawBar(image->SavedImages[0], bar, height(Chart::BarValue(values, bar)), color);
  }
}
