// SPDX-License-Identifier: MIT
//
// The status images: whole ones, byte by byte, with values of the test's own system manager, good
// and bad templates, and outputs that fail.
#include <fcntl.h>
#include <gif_lib.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Response.h"
#include "image/Chart.h"
#include "image/ImageGenerator.h"
#include "tests/FakeSystemManager.h"
#include "tests/Output.h"
#include "tests/TestFolder.h"

using namespace std::string_literals;

namespace {

using Log = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr GifColorType kGreen = {64, 128, 64};
constexpr char kMac[] = "00:B0:52:00:00:01";
constexpr char kNoColor[] = "Could not find color index for SNR graph";

// Of the bars, from the first one; all others have the height 0.
using Heights = std::vector<int>;

// A change to the site's template before it is used.
using Edit = std::function<void(GifFileType&)>;

using Gif = std::unique_ptr<GifFileType, void (*)(GifFileType*)>;

// Returns null when the file is not a whole GIF file.
Gif ReadGif(const std::string& path) {
  Gif gif(DGifOpenFileName(path.c_str(), nullptr),
          [](GifFileType* file) { DGifCloseFile(file, nullptr); });
  if (gif != nullptr && DGifSlurp(gif.get()) != GIF_OK) gif.reset();
  return gif;
}

// The bytes that giflib writes for screen, palette and pictures, which stay with the caller.
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

// Gives the picture that size, in one colour.
Edit Size(int width, int height) {
  return [width, height](GifFileType& gif) {
    SavedImage& image = gif.SavedImages[0];
    std::free(image.RasterBits);
    const auto size = static_cast<std::size_t>(width * height);
    image.RasterBits = static_cast<GifByteType*>(std::calloc(size, 1));
    image.ImageDesc.Width = width;
    image.ImageDesc.Height = height;
  };
}

void Twice(GifFileType& gif) {
  GifMakeSavedImage(&gif, &gif.SavedImages[0]);
}

std::string Template(const Edit& edit = nullptr, const Heights& bars = {}, int color = 5) {
  const Gif gif = ReadGif(VISTEL_TEST_CHARTS "/power_template.gif");
  if (edit) edit(*gif);
  const SavedImage& image = gif->SavedImages[0];
  const int width = image.ImageDesc.Width;
  for (int x = 31; x < std::min(31 + static_cast<int>(bars.size()), width); ++x) {
    const int top = 385 - bars[static_cast<std::size_t>(x - 31)];
    for (int y = top; y < std::min(385, image.ImageDesc.Height); ++y) {
      image.RasterBits[y * width + x] = static_cast<GifByteType>(color);
    }
  }
  return BytesOf(*gif);
}

// The bars up to one.
Heights UpTo(std::size_t bar, int before, int last) {
  Heights heights(bar, before);
  heights.push_back(last);
  return heights;
}

std::string Repeat(const std::string& text, int times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

std::string Bytes(const std::vector<double>& values) {
  const auto* bytes = reinterpret_cast<const char*>(values.data());
  return std::string(bytes, values.size() * sizeof(double));
}

class Images : public testing::Test {
 protected:
  Images()
      : folder_(testing::TempDir() + "vistel image"),
        template_(folder_.Write("template.gif", Template())) {
    peer_.otherwise = AnswerOf("0", "");
    mkfifo(Path("pipe").c_str(), 0600);
  }

  std::string Path(const std::string& name) const { return folder_.Path(name); }

  static std::string Power(const std::string& path) {
    gSystemLog.clear();
    return OutputOf([&] { ImageGenerator().MakeImagePower(path); });
  }
  static std::string Snr(const std::string& path, const std::string& mac = kMac) {
    gSystemLog.clear();
    return OutputOf([&] { ImageGenerator().MakeImageSNR(path, mac); });
  }

  TestFolder folder_;
  std::string template_;
  FakeSystemManager peer_;
};

}  // namespace

TEST_F(Images, Values) {
  // The last byte of a double is its sign and exponent, or the least of its digits.
  constexpr bool kLastByteCounts = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  const std::vector<double> all(1155, 10);
  const struct {
    bool snr;
    std::string values;
    Heights bars;
  } rows[] = {
      // One pair of carriers for each bar.
      {false, "0,0,1,1,20,21,26,26,32,33,255,255", {0, 59, 190, 200, 210, 299}},
      {false, Repeat("0,", 1154) + "256", UpTo(577, 0, 300)},  // a bar of one carrier
      {false, Repeat("256,", 1155) + Repeat("2560000,", 8845), UpTo(577, 300, 300)},
      {false, "-1,0,0,0,256,256", {330, 0, 300}},
      {false, "4294967296,0,99999999999999999999", {330, 330}},
      {false, "2147483648,-2147483649", {330}},
      {false, ",256,,256,256", {269, 269, 269}},
      {false, "x,256x, 256,\t\n+256,-,0x100,--1,1e3", {269, 300, 0, 29}},
      {false, "256\0,256,256"s, {300, 269}},
      {false, "\1" + "2:2:3:256,3:512,3:512,3:512,"s, {269}},  // several cells
      {true, Bytes({.099, .099, .1, .1, .25, .27, 1, 1, 20, 21}), {0, 1, 2, 10, 205}},
      {true, Bytes({25.6, 25.6, 32.4, 32.6, 32.51, 32.51, 5e-324, 0}), {256, 325, 325, 0}},
      {true, Bytes({40, 40, -3, -4, -5, 10, 1e308, 0, 0, -1e308}), {325, 0, 25, 325, 0}},
      {true, Bytes({kNaN, 1, 2, kNaN, kInfinity, -kInfinity, kInfinity, 1}), {0, 0, 0, 325}},
      {true, Bytes({1e308, 1e308}), {325}},
      {true, Bytes(all).substr(0, 800), UpTo(49, 100, 100)},
      {true, Bytes(std::vector<double>(1154)) + Bytes({7.77}), UpTo(577, 0, 77)},
      {true, Bytes(all) + Bytes({30, 30}), UpTo(577, 100, 100)},
      {true, "\xff\xff\xff\xff\xff\xff\xff", {}},
      {true, Bytes({20, 20, 20, 20}).substr(0, 31), {200, kLastByteCounts ? 100U : 200U}},
  };
  for (const auto& row : rows) {
    peer_.otherwise = AnswerOf("0", row.snr ? folder_.Write("values", row.values) : row.values);
    const std::string chart = row.snr ? Snr(template_) : Power(template_);
    EXPECT_TRUE(chart == Template(nullptr, row.bars)) << &row - rows;
    EXPECT_EQ(gSystemLog, Log()) << &row - rows;
    EXPECT_FALSE(std::filesystem::exists(Path("values"))) << &row - rows;
    EXPECT_EQ(peer_.requests.back()[4],
              row.snr ? "HomePlug.SNR{MacAddress=00:B0:52:00:00:01}:format=scalar"
                      : "HomePlug.OutputPower");
  }
}

// A bar shows the mean of two whole numbers; from 511 on it ends at the top.
TEST(Chart, HeightOfEachPower) {
  for (int twice = 1; twice <= 1100; ++twice) {
    const double level = std::clamp(10 * std::log10(twice * 0.5 / 256), -30.0, 3.0);
    EXPECT_EQ(Chart::PowerHeight(twice * 0.5), static_cast<int>((level + 30) * 10)) << twice;
  }
}

TEST_F(Images, NoValues) {
  const std::string values = folder_.Write("values", Bytes({20, 20}));
  const std::string noRow = "Wrong row count in SNR query response: 0 instead of 1";
  const struct {
    std::optional<std::string> answer;
    std::string mac, log;
  } rows[] = {
      {std::nullopt, kMac, noRow},
      {"\1" + "1:0:"s, kMac, noRow},
      {"\1" + "1:2:1:a,1:b,"s, kMac, "Wrong row count in SNR query response: 2 instead of 1"},
      {std::nullopt, "};System.ProductName;{", noRow},
      {std::nullopt, std::string(100'000, 'F'), noRow},
      {"", kMac, "Could not open SNR file ''"},
      {Path("none"), kMac, "Could not open SNR file '" + Path("none") + "'"},
      {Path("pipe"), kMac, "Could not open SNR file '" + Path("pipe") + "'"},
      {folder_.Path(), kMac, "Could not open SNR file '" + folder_.Path() + "'"},
      {values + "\0"s, kMac, "Could not open SNR file '" + values + "'"},
  };
  for (const auto& row : rows) {
    peer_.otherwise = AnswerOf(row.answer ? "0" : "1", row.answer.value_or(""));
    EXPECT_TRUE(Snr(template_, row.mac) == Template()) << row.log;
    EXPECT_EQ(gSystemLog, Log{row.log});
    EXPECT_TRUE(row.answer || (Power(template_) == Template() && gSystemLog.empty()));
  }
  EXPECT_TRUE(std::filesystem::exists(values));
}

// Only the bars change in the template.
TEST_F(Images, Templates) {
  const auto tooSmall = [this](const std::string& size) {
    return "GIF image '" + template_ + "' is too small for its chart: " + size +
           " instead of 609 x 385";
  };
  const auto greens = [](const std::vector<int>& indices) {
    return [indices](GifFileType& gif) {
      gif.SColorMap->Colors[5].Blue = 65;
      for (const int index : indices) gif.SColorMap->Colors[index] = kGreen;
    };
  };
  const auto twoPalettes = [](GifFileType& gif) {
    ColorMapObject*& own = gif.SavedImages[0].ImageDesc.ColorMap;
    own = GifMakeMapObject(8, gif.SColorMap->Colors);
    own->Colors[5] = {1, 2, 3};
  };
  const auto ownPalette = [](GifFileType& gif) {
    gif.SavedImages[0].ImageDesc.ColorMap = std::exchange(gif.SColorMap, nullptr);
  };
  const auto moved = [](GifFileType& gif) {
    const GraphicsControlBlock control = {0, false, 0, 4};  // with the transparent colour 4
    EGifGCBToSavedExtension(&control, &gif, 0);
    gif.SWidth = 800;
    gif.SColorResolution = 3;
    gif.SBackGroundColor = 2;
    gif.SavedImages[0].ImageDesc.Left = 20;
    gif.SavedImages[0].ImageDesc.Top = 5;
    gif.SavedImages[0].ImageDesc.Interlace = true;
  };
  const struct {
    Edit edit;
    int color = 5;  // negative for no bars
    Log log = {};
  } rows[] = {
      {greens({3, 7}), 7},
      {greens({0}), 0},
      {greens({}), -1, {kNoColor}},
      {twoPalettes},
      {ownPalette, -1, {kNoColor}},
      {moved},
      {Size(609, 385)},
      {Size(700, 500)},
      {Size(608, 385), 5, {tooSmall("608 x 385")}},
      {Size(609, 384), 5, {tooSmall("609 x 384")}},
      {Size(700, 50), 5, {tooSmall("700 x 50")}},
      {Size(1, 1), 5, {tooSmall("1 x 1")}},
  };
  peer_.otherwise = AnswerOf("0", Repeat("256,", 1153) + "512,512");
  Heights bars = UpTo(576, 300, 317);
  bars.push_back(330);
  for (const auto& row : rows) {
    folder_.Write("template.gif", Template(row.edit));
    const Heights drawn = row.color >= 0 ? bars : Heights();
    EXPECT_TRUE(Power(template_) == Template(row.edit, drawn, row.color)) << &row - rows;
    EXPECT_EQ(gSystemLog, row.log) << &row - rows;
  }
}

TEST_F(Images, RefusedTemplates) {
  const std::string whole = Template(Size(20, 10));
  const std::string head = whole.substr(0, 13 + 24);
  const auto threeLarge = [](GifFileType& gif) {
    Size(2048, 1024)(gif);
    Twice(gif);
    Twice(gif);
  };
  const std::pair<const char*, std::string> files[] = {
      {"twice", Template(Twice)},
      {"text", "GIF89b is what this is not" + whole},
      {"behind", "\n" + whole},
      {"none", head + ";"},
      // giflib would allocate two gigabytes for the first one.
      {"huge", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\0\xb0\0\xb0\0\x02\0;"s},
      {"vast", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\xff\xff\xff\xff\0\x02\0;"s},
      {"large", Template(Size(4096, 1025))},
      {"large in all", Template(threeLarge)},
      {"extension", head + "!\xfe\0"s + whole.substr(head.size())},
      {"long", whole + std::string(5'000'000, ';')},
  };
  std::vector<std::string> paths = {Path("pipe"), Path("-"), "", folder_.Path(),
                                    template_ + "\0.gif"s};
  for (const auto& [name, content] : files) paths.push_back(folder_.Write(name, content));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    paths.push_back(folder_.Write("cut" + std::to_string(size), whole.substr(0, size)));
  }
  peer_.otherwise = AnswerOf("0", folder_.Write("values", ""));
  for (const std::string& path : paths) {
    Log expected = {"Error modifying GIF image '"s + path.c_str() + "'"};
    if (path == Path("twice")) {
      expected.insert(expected.begin(),
                      "Wrong image count in GIF file '" + path + "': 2 instead of 1");
    }
    folder_.Write("values", "");
    EXPECT_EQ(Snr(path), "") << path;
    EXPECT_EQ(gSystemLog, expected);
  }
}

// giflib finds only when it writes that there is no palette. The picture ends where it stood then.
TEST_F(Images, WithoutAPalette) {
  std::string bytes = Template(Size(20, 10));
  bytes[10] = 'w';  // a screen without a palette
  bytes.erase(13, 24);
  const std::string output = Power(folder_.Write("bare.gif", bytes));
  EXPECT_EQ(output, bytes.substr(0, 13 + 10));
  EXPECT_EQ(gSystemLog.back(), "Error modifying GIF image '" + Path("bare.gif") + "'");
  EXPECT_FALSE(Response::IsWhole());
}

// Everything is freed exactly once, whether writing fails in the middle or at the end.
TEST_F(Images, OutputsThatFail) {
  std::signal(SIGPIPE, SIG_IGN);
  int closedPipe[2];
  ASSERT_EQ(pipe2(closedPipe, O_CLOEXEC), 0);
  close(closedPipe[0]);
  folder_.Write("small", Template(Size(1, 1)));
  const auto noise = [](GifFileType& gif) {  // more than fits into the stream's buffer
    GifByteType* const pixels = gif.SavedImages[0].RasterBits;
    std::generate(pixels, pixels + 640 * 400,
                  [] { return static_cast<GifByteType>(std::rand() % 8); });
  };
  folder_.Write("large", Template(noise));
  for (const int output : {-1, open("/dev/null", O_RDONLY | O_CLOEXEC),
                           open("/dev/full", O_WRONLY | O_CLOEXEC), closedPipe[1]}) {
    for (const std::string name : {"small", "large"}) {
      for (const bool headers :
           {false, true}) {  // whether stdout holds headers that can't be written
        gSystemLog.clear();
        RunOnto(output, [&] {
          if (headers) std::fputs("headers", stdout);
          ImageGenerator().MakeImagePower(Path(name));
          __fpurge(stdout);
        });
        ASSERT_FALSE(gSystemLog.empty()) << output;
        EXPECT_EQ(gSystemLog.back(), "Error modifying GIF image '" + Path(name) + "'");
        EXPECT_FALSE(Response::IsWhole());
      }
    }
    if (output >= 0) close(output);
  }
}
