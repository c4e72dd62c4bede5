// SPDX-License-Identifier: MIT
//
// The status images, pixel by pixel: values of a system manager of the test's own, templates good
// and bad, and outputs that don't take what is written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "image/ImageGenerator.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "tests/Answer.h"
#include "tests/FakeSystemManager.h"
#include "tests/GifFile.h"
#include "tests/SystemLog.h"
#include "tests/TestFolder.h"

using namespace std::string_literals;

namespace {

using Log = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr unsigned kMilliseconds = 5000;
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
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

std::string Bytes(const std::vector<double>& values) {
  const auto* bytes = reinterpret_cast<const char*>(values.data());
  return std::string(bytes, values.size() * sizeof(double));
}

class Images : public testing::Test {
 protected:
  Images() : folder_(testing::TempDir() + "vistel image"), template_(Path("template.gif")) {
    UseSocket(Path("socket"));
    peer_ = std::make_unique<FakeSystemManager>(
        Path("socket"), [this](const FakeSystemManager::Request& request) {
          asked_ = request[4];
          return FakeSystemManager::Reaction{AnswerOf(answer_ ? "0" : "1", answer_.value_or(""))};
        });
    gSystemLog.clear();
  }

  ~Images() override { UseSocket(""); }

  static void UseSocket(const std::string& path) {
    static SvcMgrFunctions service;
    gSysMgr.~SysMgrProxy();
    new (&gSysMgr) SysMgrProxy("Vistel", service, "", path, kMilliseconds);
  }

  std::string Path(const std::string& name) const { return folder_.Path() + "/" + name; }

  // Runs with `output` as descriptor 1; none when it is negative. What stdout holds then goes to it
  // as well. True when the descriptor is still open afterwards.
  static bool RunOnto(int output, const std::function<void()>& run) {
    std::fflush(stdout);
    const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (output >= 0) {
      dup2(output, STDOUT_FILENO);
    } else {
      close(STDOUT_FILENO);
    }
    run();
    const bool open = fcntl(STDOUT_FILENO, F_GETFD) != -1;
    dup2(saved, STDOUT_FILENO);
    close(saved);
    return open;
  }

  static std::string OutputOf(const std::function<void()>& run) {
    const int file = memfd_create("output", MFD_CLOEXEC);
    gSystemLog.clear();
    RunOnto(file, run);
    std::string output(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, output.data(), output.size(), 0), static_cast<ssize_t>(output.size()));
    close(file);
    return output;
  }

  std::string Power(const std::string& path) {
    return OutputOf([&] { ImageGenerator().MakeImagePower(path); });
  }
  std::string Snr(const std::string& path, const std::string& mac = kMac) {
    return OutputOf([&] { ImageGenerator().MakeImageSNR(path, mac); });
  }

  // The template stays what it is but for the bars, whose colour has the index `color`; -1 for
  // none.
  void CheckTemplate(const std::string& what, GifFile gif, int color, const Log& log) {
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
  std::unique_ptr<FakeSystemManager> peer_;
};

}  // namespace

TEST_F(Images, OutputPower) {
  const struct {
    const char* what;
    std::optional<std::string> answer;
    Runs runs;
  } rows[] = {
      {"a failed query", std::nullopt, {}},
      {"3.01 dB", "512,512", {{0, 0, 330}}},
      {"the last bar has one carrier", Repeat("0,", 1154) + "256", {{577, 577, 300}}},
      {"1000 values", Repeat("256,", 1000), {{0, 499, 300}}},
      {"10,000 values", Repeat("256,", 1155) + Repeat("2560000,", 8845), {{0, 577, 300}}},
      {"-1", "-1,0,0,0,256,256", {{0, 0, 330}, {2, 2, 300}}},
      {"2^32 and beyond", "4294967296,0,99999999999999999999", {{0, 1, 330}}},
      {"beyond 2^31", "2147483648,-2147483649", {{0, 0, 330}}},
      {"empty values", ",256,,256,", {{0, 1, 269}}},
      {"not a number",
       "x,256x, 256,\t\n+256,-,0x100,--1,1e3",
       {{0, 0, 269}, {1, 1, 300}, {3, 3, 29}}},
      {"a NUL byte", "256\0,256,256"s, {{0, 0, 300}, {1, 1, 269}}},
      {"several cells", "\1" + "2:2:3:256,3:512,3:512,3:512,"s, {{0, 0, 269}}},
  };
  folder_.Write("template.gif", Encode(Template()));
  for (const auto& row : rows) {
    answer_ = row.answer;
    EXPECT_TRUE(Decode(Power(template_)) == WithBars(Template(), row.runs)) << row.what;
    EXPECT_EQ(gSystemLog, Log()) << row.what;
    EXPECT_EQ(asked_, "HomePlug.OutputPower");
  }
}

TEST_F(Images, SignalToNoiseRatio) {
  const std::vector<double> all(1155, 10);
  const struct {
    const char* what;
    std::string file;
    Runs runs;
  } rows[] = {
      {"20.0 and 21.0", Bytes({20, 21}), {{0, 0, 205}}},
      {"too high, and below", Bytes({40, 40, -3, -4}), {{0, 0, 325}}},
      {"cancelled out", Bytes({-5, 10, 5, -10}), {{0, 0, 25}}},
      {"800 bytes", Bytes(all).substr(0, 800), {{0, 49, 100}}},
      {"the last one", Bytes(std::vector<double>(1154)) + Bytes({7.77}), {{577, 577, 77}}},
      {"more than all", Bytes(all) + Bytes({30, 30}), {{0, 577, 100}}},
      {"7 bytes", "\xff\xff\xff\xff\xff\xff\xff", {}},
      {"a cut value", Bytes({20, 20, 20, 20}).substr(0, 31), {{0, 0, 200}, {1, 1, 100}}},
      {"no numbers", Bytes({kNaN, 1, 2, kNaN, kNaN, kNaN, kInfinity, -kInfinity}), {}},
      {"infinities",
       Bytes({kInfinity, 1, -kInfinity, 1, 1e308, 1e308}),
       {{0, 0, 325}, {2, 2, 325}}},
  };
  folder_.Write("template.gif", Encode(Template()));
  answer_ = Path("values");
  for (const auto& row : rows) {
    folder_.Write("values", row.file);
    EXPECT_TRUE(Decode(Snr(template_)) == WithBars(Template(), row.runs)) << row.what;
    EXPECT_EQ(gSystemLog, Log()) << row.what;
    EXPECT_FALSE(std::filesystem::exists(*answer_)) << row.what;
  }
  EXPECT_EQ(asked_, "HomePlug.SNR{MacAddress=00:B0:52:00:00:01}:format=scalar");
}

TEST_F(Images, SignalToNoiseRatioWithoutValues) {
  folder_.Write("template.gif", Encode(Template()));
  folder_.Write("values", Bytes({20, 20}));
  mkfifo(Path("pipe").c_str(), 0600);
  const auto rowCount = [](int rows) {
    return "Wrong row count in SNR query response: " + std::to_string(rows) + " instead of 1";
  };
  const struct {
    std::optional<std::string> answer;
    std::string mac, log;
  } rows[] = {
      {std::nullopt, kMac, rowCount(0)},
      {"\1" + "1:0:"s, kMac, rowCount(0)},
      {"\1" + "1:2:1:a,1:b,"s, kMac, rowCount(2)},
      {std::nullopt, "};System.ProductName;{", rowCount(0)},
      {std::nullopt, std::string(100'000, 'F'), rowCount(0)},
      {"", kMac, "Could not open SNR file ''"},
      {Path("none"), kMac, "Could not open SNR file '" + Path("none") + "'"},
      {Path("pipe"), kMac, "Could not open SNR file '" + Path("pipe") + "'"},
      {folder_.Path(), kMac, "Could not open SNR file '" + folder_.Path() + "'"},
      {Path("values") + "\0"s, kMac, "Could not open SNR file '" + Path("values") + "'"},
  };
  for (const auto& row : rows) {
    answer_ = row.answer;
    EXPECT_TRUE(Decode(Snr(template_, row.mac)) == Template()) << row.log;
    EXPECT_EQ(gSystemLog, Log{row.log});
  }
  EXPECT_TRUE(std::filesystem::exists(Path("values")));
}

TEST_F(Images, Palettes) {
  GifFile gif = Template();
  gif.palette[5] = gif.palette[9] = kGreen;
  CheckTemplate("the last of three", gif, 9, {});
  gif.palette[0] = gif.palette[15] = kGreen;
  CheckTemplate("the very last", gif, 15, {});
  gif = Template();
  gif.palette[7] = {64, 128, 65};
  CheckTemplate("none", gif, -1, {kNoColor});
  gif = Template();
  gif.ownPalette = gif.palette;
  gif.ownPalette[7] = {1, 2, 3};
  CheckTemplate("one of the picture's own besides", gif, 7, {});
  gif.palette.clear();
  CheckTemplate("one of the picture's own only", gif, -1, {kNoColor});
}

TEST_F(Images, Layouts) {
  GifFile gif = Template();
  gif.interlaced = true;
  CheckTemplate("interlaced", gif, 7, {});
  gif.transparent = 4;
  CheckTemplate("transparent", gif, 7, {});
  gif.screenWidth = 800;
  gif.left = 20;
  gif.top = 5;
  gif.colorBits = 3;
  CheckTemplate("on a larger screen", gif, 7, {});
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
  GifFile twice = PatternedGif(20, 10);
  twice.pictures = 2;
  folder_.Write("whole", whole);
  folder_.Write("twice", Encode(twice));
  folder_.Write("empty", "");
  folder_.Write("text", "GIF89b is what this is not" + whole);
  folder_.Write("behind", "\n" + whole);
  folder_.Write("none", whole.substr(0, 13 + 48) + ";");
  // giflib would take two gigabytes for the first one.
  folder_.Write("huge", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\0\xb0\0\xb0\0\x02\0;"s);
  folder_.Write("vast", "GIF87a\x01\0\x01\0\0\0\0,\0\0\0\0\xff\xff\xff\xff\0\x02\0;"s);
  GifFile large = PatternedGif(4096, 1025);
  large.pixels.assign(large.pixels.size(), 0);  // a few thousand bytes
  folder_.Write("large", Encode(large));
  folder_.Write("extension", whole.substr(0, 13 + 48) + "!\xfe\0"s + whole.substr(13 + 48));
  folder_.Write("long", whole + std::string(5'000'000, ';'));
  mkfifo(Path("pipe").c_str(), 0600);
  const Log count = {"Wrong image count in GIF file '" + Path("twice") + "': 2 instead of 1"};
  const std::string paths[] = {Path("twice"),
                               Path("empty"),
                               Path("text"),
                               Path("behind"),
                               Path("none"),
                               Path("huge"),
                               Path("vast"),
                               Path("large"),
                               Path("extension"),
                               Path("long"),
                               Path("pipe"),
                               Path("-"),
                               "",
                               folder_.Path(),
                               Path("whole") + "\0.gif"s};
  answer_ = Path("values");
  for (const std::string& path : paths) {
    Log expected = path == Path("twice") ? count : Log();
    expected.push_back("Error modifying GIF image '"s + path.c_str() + "'");
    EXPECT_EQ(Power(path), "") << path;
    EXPECT_EQ(gSystemLog, expected);
    folder_.Write("values", "");
    EXPECT_EQ(Snr(path), "") << path;
    EXPECT_EQ(gSystemLog, expected);
  }
  for (std::size_t size = 0; size < whole.size(); ++size) {
    folder_.Write("cut", whole.substr(0, size));
    EXPECT_EQ(Power(Path("cut")), "") << size;
    EXPECT_EQ(gSystemLog, Log{"Error modifying GIF image '" + Path("cut") + "'"}) << size;
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
    const char* what;
    int descriptor;
    bool closed;  // afterwards; it isn't where not a byte of the picture can be written
  } rows[] = {
      {"none", -1, true},
      {"for reading", open("/dev/null", O_RDONLY | O_CLOEXEC), false},
      {"a full device", open("/dev/full", O_WRONLY | O_CLOEXEC), true},
      {"a pipe without a reader", closedPipe[1], true},
  };
  for (const auto& row : rows) {
    for (const std::string name : {"small", "large"}) {
      gSystemLog.clear();
      const bool open =
          RunOnto(row.descriptor, [&] { ImageGenerator().MakeImagePower(Path(name)); });
      ASSERT_FALSE(gSystemLog.empty()) << row.what;
      EXPECT_EQ(gSystemLog.back(), "Error modifying GIF image '" + Path(name) + "'") << row.what;
      EXPECT_EQ(open, !row.closed) << row.what;
      // Headers that can't be written.
      EXPECT_EQ(row.descriptor >= 0, RunOnto(row.descriptor,
                                             [&] {
                                               std::fputs("headers", stdout);
                                               ImageGenerator().MakeImagePower(Path(name));
                                               __fpurge(stdout);
                                             }))
          << row.what;
    }
    if (row.descriptor >= 0) close(row.descriptor);
  }
}
