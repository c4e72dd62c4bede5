// SPDX-License-Identifier: MIT
//
// What is a firmware image and what is none.
#include "sysmgr/firmware/FirmwareImage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/TestFolder.h"
#include "tests/sysmgr/FirmwareImages.h"

namespace {

constexpr const char* kModel = "Vistel";
constexpr const char* kNoImage = "This file is no firmware image.";

// What is wrong with these bytes when they come in blocks of that size, behind the header's line
// that it is about; "<version>" if nothing is.
std::string Verify(const std::string& bytes, std::size_t blockBytes = std::string::npos) {
  FirmwareVerifier verifier(kModel);
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string block = bytes.substr(at, blockBytes);
    if (!verifier.Take(block)) break;
    at += block.size();
  }
  FirmwareImage image;
  const Outcome outcome = verifier.Finish(image);
  return outcome.IsSuccess() ? "<" + image.version + ">" : outcome.Record();
}

TEST(FirmwareImage, Headers) {
  const std::string first = "VISTEL-FIRMWARE 1\n";
  const std::string model = "Model: Vistel\n";
  const std::string version = "Version: 2.4.0\n";
  const std::string length = "Length: 6\n";
  const std::string hash = "SHA-256: *\n";
  const std::string head = "The header of the firmware image ";
  const std::string digits(64, '0');
  const auto at = [&head](const std::string& line, const char* what) {
    return "'" + line.substr(0, FirmwareImage::kMaxNameBytes) + "': " + head + what;
  };
  const struct {
    std::string lines;
    std::string result;
  } kCases[] = {
      {first + model + version + length + hash, "<2.4.0>"},
      {first + hash + length + version + model, "<2.4.0>"},
      {"", kNoImage},
      {"\n", kNoImage},
      {"GIF89a\n" + model + version + length + hash, kNoImage},
      {"VISTEL-FIRMWARE 1\r\n" + model + version + length + hash, head + "holds an unknown line."},
      {first + "Model: Vistel\r\nVersion: 2\r\nLength: 6\r\nSHA-256: " + digits + "\r\n\r",
       head + "holds an unknown line."},
      {"VISTEL-FIRMWARE 2\nSomething: new\n",
       "'VISTEL-FIRMWARE 2': " + head + "is of a version that this device does not know."},
      {"VISTEL-FIRMWARE x\n", kNoImage},
      {"VISTEL-FIRMWARE 1234567890\n", kNoImage},
      {first + version + length + hash, at("Model", "lacks a line.")},
      {first + model + length + hash, at("Version", "lacks a line.")},
      {first + model + version + hash, at("Length", "lacks a line.")},
      {first + model + version + length, at("SHA-256", "lacks a line.")},
      {first + model + model + version + length + hash, at("Model", "holds a line twice.")},
      {first + model + version + version + length + hash, at("Version", "holds a line twice.")},
      {first + model + version + length + length + hash, at("Length", "holds a line twice.")},
      {first + model + version + length + "SHA-256: " + digits + "\n" + hash,
       at("SHA-256", "holds a line twice.")},
      {first + "Model: \n", at("Model: ", "holds a faulty line.")},
      {first + "Model:Vistel\n", at("Model:Vistel", "holds an unknown line.")},
      {first + "Model: <b>\n", at("Model: <b>", "holds a faulty line.")},
      {first + "Model: " + std::string(64, 'a') + "\n",
       at("Model: " + std::string(64, 'a'), "holds a faulty line.")},
      {first + "Version: 1 2\n", at("Version: 1 2", "holds a faulty line.")},
      {first + "Length: 0\n", at("Length: 0", "holds a faulty line.")},
      {first + "Length: 06\n", at("Length: 06", "holds a faulty line.")},
      {first + "Length: -6\n", at("Length: -6", "holds a faulty line.")},
      {first + "Length: 99999999999999999999\n",
       at("Length: 99999999999999999999", "holds a faulty line.")},
      {first + "SHA-256: " + std::string(64, 'A') + "\n",
       at("SHA-256: " + std::string(64, 'A'), "holds a faulty line.")},
      {first + "SHA-256: 00\n", at("SHA-256: 00", "holds a faulty line.")},
      {first + "Colour: red\n", at("Colour: red", "holds an unknown line.")},
      {first + std::string(2000, 'x') + "\n", head + "is too long."},
      {first + "Model: Other 2\n" + version + length + hash,
       "'Model: Other 2': The firmware image is for another device."},
      {first + model + version + "Length: 6291455\n" + hash, "The firmware image is too large."},
      {first + model + version + "Length: 7\n" + hash, "The firmware image is cut off."},
      {first + model + version + "Length: 5\n" + hash,
       "The firmware image is longer than its header says."},
      {first + model + version + length + "SHA-256: " + digits + "\n",
       "The firmware image is damaged: its SHA-256 checksum is another one."},
  };
  for (const auto& test : kCases) {
    const std::string image = Image(test.lines, "hello!");
    EXPECT_EQ(Verify(image), test.result) << test.lines;
    EXPECT_EQ(Verify(image, 1), test.result) << test.lines;
    EXPECT_EQ(Verify(image, 7), test.result) << test.lines;
  }
}

TEST(FirmwareImage, CutFlippedAndTrailed) {
  const std::string image = RightImage("2.4.0", std::string("\n\n\0\xFFpayload", 11));
  ASSERT_EQ(Verify(image), "<2.4.0>");
  for (std::size_t size = 0; size < image.size(); ++size) {
    const std::string problem = Verify(image.substr(0, size));
    EXPECT_EQ(problem, size < 16 ? kNoImage : "The firmware image is cut off.") << size;
  }
  for (std::size_t at = 0; at < image.size(); ++at) {
    for (unsigned bit = 1; bit < 256; bit <<= 1U) {
      std::string flipped = image;
      flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ bit);
      EXPECT_NE(Verify(flipped).front(), '<') << at << ", bit " << bit;
    }
  }
  EXPECT_EQ(Verify(image + '\0'), "The firmware image is longer than its header says.");
}

// Our own tool is the other end of what docs/firmware.md says.
TEST(FirmwareImage, MadeByTheTool) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string payload("\n\nSHA-256: 1\n\0\xFF", 15);
  folder.Write("payload", payload);
  const auto make = [&folder](const std::string& version) {
    return std::system(("cd '" + folder.Path() +
                        "' && '" VISTEL_TEST_MAKE_FIRMWARE "' --model Vistel --version '" +
                        version + "' payload image >output 2>&1")
                           .c_str());
  };
  const auto read = [&folder](const char* name) { return ReadFile(folder.Path(name)); };
  ASSERT_EQ(make("2.4.0-01"), 0) << read("output");
  EXPECT_EQ(read("image"), RightImage("2.4.0-01", payload));
  EXPECT_NE(read("image").find("SHA-256: " + read("output") + "\n"), std::string::npos);
  EXPECT_NE(make("2 4"), 0);
}

}  // namespace
