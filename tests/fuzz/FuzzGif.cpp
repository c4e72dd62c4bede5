// SPDX-License-Identifier: MIT
//
// Fuzz target: a status image. The input is a byte whose lowest bit selects the image, the length
// of the values as two bytes, the values (a list, or a file of numbers) and the template's file.
#include <string>

#include "base/Descriptor.h"
#include "image/Chart.h"
#include "image/ImageGenerator.h"
#include "query/SysMgr.h"
#include "tests/Gif.h"
#include "tests/Output.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr std::size_t kHeadBytes = 3;

std::string gCell;  // the answer of the system manager

std::string PathOf(const Descriptor& file) {
  return "/proc/self/fd/" + std::to_string(file.Number());
}

// The image, written anew with the area of the bars empty; "" if it isn't a whole image.
std::string BesideTheBars(const std::string& bytes) {
  const Gif gif = ReadGif(PathOf(Descriptor(OpenInMemory(bytes))));
  if (gif == nullptr || gif->ImageCount != 1) return "";
  const GifImageDesc& place = gif->SavedImages[0].ImageDesc;
  for (int x = Chart::kFirstColumn; x < std::min(Chart::kRequiredWidth, place.Width); ++x) {
    for (int y = Chart::kBaseRow - 330; y < std::min(Chart::kBaseRow, place.Height); ++y) {
      gif->SavedImages[0].RasterBits[y * place.Width + x] = 0;
    }
  }
  return BytesOf(*gif);
}

}  // namespace

StringTable SysMgr_Query(const StringTable& /*query*/) {
  StringTable table(1);
  table.AddCells({gCell});
  return table;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHeadBytes) return 0;
  const std::string text(data + kHeadBytes, data + size);
  const std::string values = text.substr(0, data[1] + data[2] * std::size_t{256});
  const std::string picture = text.substr(values.size());
  const bool snr = (data[0] & 1) != 0;
  const Descriptor list(OpenInMemory(values));
  const Descriptor background(OpenInMemory(picture));
  gCell = snr ? PathOf(list) : values;
  gSystemLog.clear();
  const std::string output = OutputOf([&] {
    const ImageGenerator generator;
    snr ? generator.MakeImageSNR(PathOf(background), "")
        : generator.MakeImagePower(PathOf(background));
  });
  Check(!output.empty() || !gSystemLog.empty(), "there is an image or a message");
  const std::string image = BesideTheBars(output);
  Check(!image.empty() || !gSystemLog.empty(), "an image without a message is whole");
  if (image.empty()) return 0;  // the template may be too large to be read here as well
  const std::string expected = BesideTheBars(picture);
  Check(expected.empty() || image == expected, "what is beside the bars is the template's");
  return 0;
}
