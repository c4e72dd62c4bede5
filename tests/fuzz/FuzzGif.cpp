// SPDX-License-Identifier: MIT
//
// Fuzz target: a status image. The input is a byte whose lowest bit says which image, the length of
// the values as two bytes, the values (a list, or a file of numbers) and the template's file.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "image/Chart.h"
#include "image/ImageGenerator.h"
#include "tests/GifFile.h"
#include "tests/StandardOutput.h"
#include "tests/fuzz/FuzzSysMgr.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr std::size_t kHeadBytes = 3;

int gLogLines = 0;

// A file in memory, known by a path.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& content) : descriptor_(memfd_create("fuzz", 0)) {
    Check(
        write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
        "a file can be written");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

std::string Draw(bool snr, const std::string& values, const std::string& picture) {
  const MemoryFile list(values);
  const MemoryFile background(picture);
  const std::string cell = snr ? list.Path() : values;
  AnswerSysMgrWith(&cell);
  const std::string output = OutputOf([&] {
    if (snr) {
      ImageGenerator().MakeImageSNR(background.Path(), "00:B0:52:00:00:01");
    } else {
      ImageGenerator().MakeImagePower(background.Path());
    }
  });
  AnswerSysMgrWith(nullptr);
  return output;
}

// Written anew, an index is cut to what its palette can hold.
char CutIndex(const GifFile& gif, char index) {
  const std::size_t colors = gif.ownPalette.empty() ? gif.palette.size() : gif.ownPalette.size();
  return static_cast<char>(static_cast<std::size_t>(index) &
                           (std::max(colors, std::size_t{4}) - 1));
}

void CheckChart(const GifFile& background, const GifFile& chart) {
  Check(chart.pictures == 1 && chart.screenWidth == background.screenWidth &&
            chart.screenHeight == background.screenHeight &&
            chart.background == background.background && chart.palette == background.palette &&
            chart.ownPalette == background.ownPalette && chart.width == background.width &&
            chart.height == background.height,
        "all but the pixels is the template's");
  for (int y = 0; y < chart.height; ++y) {
    for (int x = 0; x < chart.width; ++x) {
      const auto at = static_cast<std::size_t>(y * chart.width + x);
      const bool inBars = x >= Chart::kFirstColumn && x < Chart::kRequiredWidth &&
                          y < Chart::kBaseRow && y >= Chart::kBaseRow - 330;
      Check(inBars || chart.pixels[at] == CutIndex(background, background.pixels[at]),
            "what is beside the bars is the template's");
    }
  }
}

}  // namespace

extern "C" void __wrap_syslog(int /*priority*/, const char* /*format*/, ...) {
  ++gLogLines;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHeadBytes) return 0;
  const std::string text(data + kHeadBytes, data + size);
  const std::size_t valueBytes = data[1] + data[2] * std::size_t{256};
  const std::string values = text.substr(0, valueBytes);
  const std::string picture = text.substr(values.size());

  gLogLines = 0;
  const std::string output = Draw((data[0] & 1) != 0, values, picture);
  Check(!output.empty() || gLogLines > 0, "there is an image or a message");
  const GifFile chart = Decode(output);
  Check(chart.pictures == 1 || gLogLines > 0, "an image without a message is whole");
  // Others may be too large to be read here as well.
  if (chart.pictures == 0) return 0;
  const GifFile background = Decode(picture);
  if (background.pictures != 0) CheckChart(background, chart);
  return 0;
}
