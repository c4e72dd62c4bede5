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

// What is wrong with these bytes when they come in blocks of that size; "<version>" if nothing is.
std::string Verify(const std::string& bytes, std::size_t blockBytes = std::string::npos) {
  FirmwareVerifier verifier(kModel);
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string block = bytes.substr(at, blockBytes);
    if (!verifier.Take(block)) break;
    at += block.size();
  }
  FirmwareImage image;
  const std::string problem = verifier.Finish(image);
  return problem.empty() ? "<" + image.version + ">" : problem;
}

TEST(FirmwareImage, Headers) {
  const std::string first = "VISTEL-FIRMWARE 1\n";
  const std::string model = "Model: Vistel\n";
  const std::string version = "Version: 2.4.0\n";
  const std::string length = "Length: 6\n";
  const std::string hash = "SHA-256: *\n";
  const std::string head = "The header of the firmware image ";
  const std::string digits(64, '0');
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
       "The firmware image has a header of version 2, and this device knows version 1."},
      {"VISTEL-FIRMWARE x\n", kNoImage},
      {"VISTEL-FIRMWARE 1234567890\n", kNoImage},
      {first + version + length + hash, head + "lacks the line Model."},
      {first + model + length + hash, head + "lacks the line Version."},
      {first + model + version + hash, head + "lacks the line Length."},
      {first + model + version + length, head + "lacks the line SHA-256."},
      {first + model + model + version + length + hash, head + "has two lines Model."},
      {first + model + version + version + length + hash, head + "has two lines Version."},
      {first + model + version + length + length + hash, head + "has two lines Length."},
      {first + model + version + length + "SHA-256: " + digits + "\n" + hash,
       head + "has two lines SHA-256."},
      {first + "Model: \n", head + "has a faulty line Model."},
      {first + "Model:Vistel\n", head + "holds an unknown line."},
      {first + "Model: <b>\n", head + "has a faulty line Model."},
      {first + "Model: " + std::string(64, 'a') + "\n", head + "has a faulty line Model."},
      {first + "Version: 1 2\n", head + "has a faulty line Version."},
      {first + "Length: 0\n", head + "has a faulty line Length."},
      {first + "Length: 06\n", head + "has a faulty line Length."},
      {first + "Length: -6\n", head + "has a faulty line Length."},
      {first + "Length: 99999999999999999999\n", head + "has a faulty line Length."},
      {first + "SHA-256: " + std::string(64, 'A') + "\n", head + "has a faulty line SHA-256."},
      {first + "SHA-256: 00\n", head + "has a faulty line SHA-256."},
      {first + "Colour: red\n", head + "holds an unknown line."},
      {first + std::string(2000, 'x') + "\n", head + "is longer than 1024 bytes."},
      {first + "Model: Other 2\n" + version + length + hash,
       "The firmware image is for another device, the model Other 2."},
      {first + model + version + "Length: 6291455\n" + hash,
       "The firmware image would be larger than 6291455 bytes."},
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
    EXPECT_EQ(test.result.substr(1).find_first_of("<&\"'"), std::string::npos);
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
