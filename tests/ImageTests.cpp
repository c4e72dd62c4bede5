// SPDX-License-Identifier: MIT
//
// The status images: the heights of their bars, the templates that come with the site, and whole
// images, pixel by pixel: values of a system manager of the test's own, templates good and bad, and
// outputs that don't take what is written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "image/Chart.h"
#include "image/ImageGenerator.h"
#include "tests/FakeSystemManager.h"
#include "tests/GifFile.h"
#include "tests/StandardOutput.h"
#include "tests/SystemLog.h"
#include "tests/TestFolder.h"

using namespace std::string_literals;

namespace {

using Log = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr GifFile::Color kGreen = {64, 128, 64};
constexpr char kMac[] = "00:B0:52:00:00:01";
constexpr char kNoColor[] = "Could not find color index for SNR graph";

// Bars `first` to `last` of that height; all others have none.
struct Run {
  int first, last, height;
};
using Runs = std::vector<Run>;

// With the bars' colour at the index 7; by default of the size that a chart needs.
GifFile Template(int width = 609, int height = 385) {
  GifFile gif = PatternedGif(width, height);
  gif.palette[7] = kGreen;
  gif.background = 3;
  return gif;
}

GifFile WithBars(GifFile gif, const Runs& runs, int color = 7) {
  for (const Run& run : runs) {
    for (int x = 31 + run.first; x <= 31 + run.last; ++x) {
      for (int y = 385 - run.height; y < 385; ++y) {
        if (x >= gif.width || y >= gif.height) continue;
        gif.pixels[static_cast<std::size_t>(y * gif.width + x)] = static_cast<char>(color);
      }
    }
  }
  return gif;
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
        template_(folder_.Write("template.gif", Encode(Template()))) {
    peer_.react = [this](const auto& request) -> FakeSystemManager::Reaction {
      asked_ = request[4];
      return {AnswerOf(answer_ ? "0" : "1", answer_.value_or(""))};
    };
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

  // The template stays what it is but for the bars, whose colour has the index `color`; -1 for
  // none.
  void CheckTemplate(const std::string& what, GifFile gif, int color, const Log& log = {}) {
    answer_ = Repeat("256,", 1153) + "512,512";
    folder_.Write("template.gif", Encode(gif));
    const std::string chart = Power(template_);
    if (color >= 0) gif = WithBars(gif, {{0, 575, 300}, {576, 576, 317}, {577, 577, 330}}, color);
    EXPECT_TRUE(Decode(chart) == gif) << what;
    EXPECT_EQ(gSystemLog, log) << what;
  }

  TestFolder folder_;
  std::string template_;
  std::optional<std::string> answer_ = "";  // none: the query fails
  std::string asked_;
  FakeSystemManager peer_;
};

}  // namespace

TEST(Chart, Heights) {
  const struct {
    double value;
    int power, snr;
  } rows[] = {
      {0, 0, 0},          {-1, 0, 0},
      {0.099, 0, 0},      {0.1, 0, 1},
      {0.256, 0, 2},      {0.262, 1, 2},
      {1, 59, 10},        {20.5, 190, 205},
      {25.6, 200, 256},   {32.5, 210, 325},
      {32.51, 210, 325},  {255, 299, 325},
      {256, 300, 325},    {322.2, 309, 325},
      {322.3, 310, 325},  {510, 329, 325},
      {511, 330, 325},    {1e308, 330, 325},
      {-1e308, 0, 0},     {5e-324, 0, 0},
      {-kInfinity, 0, 0}, {kInfinity, 330, 325},
      {kNaN, 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Chart::PowerHeight(row.value), row.power) << row.value;
    EXPECT_EQ(Chart::SnrHeight(row.value), row.snr) << row.value;
  }
}

// The templates that the style "std" has: made from the constants that place the bars, and compared
// here with places of their own.
TEST(Chart, TemplatesOfTheSite) {
  for (const char* name : {"power", "snr"}) {
    const GifFile gif = Decode(ReadFile(VISTEL_TEST_CHARTS "/"s + name + "_template.gif"));
    ASSERT_EQ(gif.pictures, 1) << name;
    EXPECT_GE(gif.width, 640);
    EXPECT_GE(gif.height, 420);
    const auto& palette = gif.palette;
    ASSERT_EQ(std::count(palette.begin(), palette.end(), kGreen), 1);
    const auto green = std::find(palette.begin(), palette.end(), kGreen) - palette.begin();
    EXPECT_EQ(gif.pixels.find(static_cast<char>(green)), std::string::npos) << name;

    const auto at = [&](int x, int y) {
      return gif.pixels[static_cast<std::size_t>(y * gif.width + x)];
    };
    // The axes stand right beside and below the bars; a tick for each 5 dB and 5 MHz.
    const char axis = at(30, 385);
    std::vector<int> rows;
    for (int y = 0; y < gif.height; ++y) {
      if (at(25, y) == axis) rows.push_back(y);
      EXPECT_EQ(at(30, y) == axis, y >= (name == "power"s ? 55 : 60) && y <= 385) << y;
    }
    EXPECT_EQ(rows, (std::vector<int>{85, 135, 185, 235, 285, 335, 385})) << name;
    std::vector<int> columns;
    for (int x = 0; x < gif.width; ++x) {
      if (at(x, 390) == axis) columns.push_back(x);
      EXPECT_EQ(at(x, 385) == axis, x >= 25 && x <= 609) << x;
    }
    EXPECT_EQ(columns, (std::vector<int>{96, 198, 301, 403, 506, 608})) << name;
  }
}

TEST_F(Images, Values) {
  const std::vector<double> all(1155, 10);
  const struct {
    bool snr;
    std::string values;
    Runs runs;
  } rows[] = {
      {false, "512,512", {{0, 0, 330}}},
      {false, Repeat("0,", 1154) + "256", {{577, 577, 300}}},  // a bar of one carrier
      {false, Repeat("256,", 1155) + Repeat("2560000,", 8845), {{0, 577, 300}}},
      {false, "-1,0,0,0,256,256", {{0, 0, 330}, {2, 2, 300}}},
      {false, "4294967296,0,99999999999999999999", {{0, 1, 330}}},
      {false, "2147483648,-2147483649", {{0, 0, 330}}},
      {false, ",256,,256,256", {{0, 2, 269}}},
      {false, "x,256x, 256,\t\n+256,-,0x100,--1,1e3", {{0, 0, 269}, {1, 1, 300}, {3, 3, 29}}},
      {false, "256\0,256,256"s, {{0, 0, 300}, {1, 1, 269}}},
      {false, "\1" + "2:2:3:256,3:512,3:512,3:512,"s, {{0, 0, 269}}},  // several cells
      {true, Bytes({40, 40, -3, -4, -5, 10}), {{0, 0, 325}, {2, 2, 25}}},
      {true, Bytes(all).substr(0, 800), {{0, 49, 100}}},
      {true, Bytes(std::vector<double>(1154)) + Bytes({7.77}), {{577, 577, 77}}},
      {true, Bytes(all) + Bytes({30, 30}), {{0, 577, 100}}},
      {true, "\xff\xff\xff\xff\xff\xff\xff", {}},
      {true, Bytes({20, 20, 20, 20}).substr(0, 31), {{0, 0, 200}, {1, 1, 100}}},
      {true, Bytes({kNaN, 1, 2, kNaN, kInfinity, -kInfinity}), {}},
      {true, Bytes({kInfinity, 1, 1e308, 1e308}), {{0, 1, 325}}},
  };
  for (const auto& row : rows) {
    answer_ = row.snr ? folder_.Write("values", row.values) : row.values;
    const GifFile chart = Decode(row.snr ? Snr(template_) : Power(template_));
    EXPECT_TRUE(chart == WithBars(Template(), row.runs)) << &row - rows;
    EXPECT_EQ(gSystemLog, Log()) << &row - rows;
    EXPECT_FALSE(std::filesystem::exists(Path("values"))) << &row - rows;
    EXPECT_EQ(asked_, row.snr ? "HomePlug.SNR{MacAddress=00:B0:52:00:00:01}:format=scalar"
                              : "HomePlug.OutputPower");
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
    answer_ = row.answer;
    EXPECT_TRUE(Decode(Snr(template_, row.mac)) == Template()) << row.log;
    EXPECT_EQ(gSystemLog, Log{row.log});
    EXPECT_TRUE(row.answer || (Decode(Power(template_)) == Template() && gSystemLog.empty()));
  }
  EXPECT_TRUE(std::filesystem::exists(values));
}

TEST_F(Images, Templates) {
  GifFile gif = Template();
  gif.palette[5] = gif.palette[9] = kGreen;
  CheckTemplate("the last of three", gif, 9);
  gif.palette[0] = gif.palette[15] = kGreen;
  CheckTemplate("the very last", gif, 15);
  gif = Template();
  gif.palette[7] = {64, 128, 65};
  CheckTemplate("no green", gif, -1, {kNoColor});
  gif = Template();
  gif.ownPalette = gif.palette;
  gif.ownPalette[7] = {1, 2, 3};
  CheckTemplate("a palette of the picture's own besides", gif, 7);
  gif.palette.clear();
  CheckTemplate("one of the picture's own only", gif, -1, {kNoColor});

  gif = Template();
  gif.interlaced = true;
  CheckTemplate("interlaced", gif, 7);
  gif.transparent = 4;
  gif.screenWidth = 800;
  gif.left = 20;
  gif.top = 5;
  gif.colorBits = 3;
  CheckTemplate("transparent, on a larger screen", gif, 7);
  const struct {
    int width, height;
    bool tooSmall;
  } rows[] = {{609, 385, false}, {700, 500, false}, {608, 385, true},
              {609, 384, true},  {700, 50, true},   {1, 1, true}};
  for (const auto& row : rows) {
    const std::string size = std::to_string(row.width) + " x " + std::to_string(row.height);
    const std::string line = "GIF image '" + template_ + "' is too small for its chart: " + size +
                             " instead of 609 x 385";
    CheckTemplate(size, Template(row.width, row.height), 7, row.tooSmall ? Log{line} : Log());
  }
}

TEST_F(Images, RefusedTemplates) {
  const std::string whole = Encode(PatternedGif(20, 10));
  const std::string head = whole.substr(0, 13 + 48);
  GifFile twice = PatternedGif(20, 10);
  twice.pictures = 2;
  GifFile large = PatternedGif(4096, 1025);
  large.pixels.assign(large.pixels.size(), 0);  // a few thousand bytes
  const std::pair<const char*, std::string> files[] = {
      {"twice", Encode(twice)},
      {"empty", ""},
      {"text", "GIF89b is what this is not" + whole},
      {"behind", "\n" + whole},
      {"none", head + ";"},
      // giflib would take two gigabytes for the first one.
      {"huge", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\0\xb0\0\xb0\0\x02\0;"s},
      {"vast", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\xff\xff\xff\xff\0\x02\0;"s},
      {"large", Encode(large)},
      {"extension", head + "!\xfe\0"s + whole.substr(head.size())},
      {"long", whole + std::string(5'000'000, ';')},
  };
  std::vector<std::string> paths = {Path("pipe"), Path("-"), "", folder_.Path(),
                                    template_ + "\0.gif"s};
  for (const auto& [name, content] : files) paths.push_back(folder_.Write(name, content));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    paths.push_back(folder_.Write("cut" + std::to_string(size), whole.substr(0, size)));
  }
  for (const std::string& path : paths) {
    Log expected = {"Error modifying GIF image '"s + path.c_str() + "'"};
    if (path == Path("twice")) {
      expected.insert(expected.begin(),
                      "Wrong image count in GIF file '" + path + "': 2 instead of 1");
    }
    EXPECT_EQ(Power(path), "") << path;
    EXPECT_EQ(gSystemLog, expected);
    answer_ = folder_.Write("values", "");
    EXPECT_EQ(Snr(path), "") << path;
    EXPECT_EQ(gSystemLog, expected);
  }
}

// Whether writing fails at once, in the middle or only when the output is closed, all is freed and
// closed once.
TEST_F(Images, OutputsThatFail) {
  std::signal(SIGPIPE, SIG_IGN);
  int closedPipe[2];
  ASSERT_EQ(pipe2(closedPipe, O_CLOEXEC), 0);
  close(closedPipe[0]);
  folder_.Write("small", Encode(PatternedGif(1, 1)));
  GifFile large = Template();  // more than fits into the stream's buffer
  for (char& pixel : large.pixels) pixel = static_cast<char>(std::rand() % 16);
  folder_.Write("large", Encode(large));
  const struct {
    int descriptor;
    bool closed;  // afterwards; it isn't where not a byte of the picture can be written
  } rows[] = {{-1, true},
              {open("/dev/null", O_RDONLY | O_CLOEXEC), false},
              {open("/dev/full", O_WRONLY | O_CLOEXEC), true},
              {closedPipe[1], true}};
  for (const auto& row : rows) {
    for (const std::string name : {"small", "large"}) {
      for (const bool headers : {false, true}) {  // that can't be written
        gSystemLog.clear();
        const bool open = RunOnto(row.descriptor, [&] {
          if (headers) std::fputs("headers", stdout);
          ImageGenerator().MakeImagePower(Path(name));
          __fpurge(stdout);
        });
        ASSERT_FALSE(gSystemLog.empty()) << &row - rows;
        EXPECT_EQ(gSystemLog.back(), "Error modifying GIF image '" + Path(name) + "'");
        EXPECT_EQ(open, headers ? row.descriptor >= 0 : !row.closed) << &row - rows << name;
      }
    }
    if (row.descriptor >= 0) close(row.descriptor);
  }
}
