// SPDX-License-Identifier: MIT
//
// What is a firmware image and what is none.
#include "sysmgr/firmware/FirmwareImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

#include "tests/TestFolder.h"
#include "tests/sysmgr/FirmwareImages.h"
#include "tests/sysmgr/Tables.h"

namespace {

constexpr const char* kNoImage = "This file is no firmware image.";

// What is wrong with these bytes when they come in blocks of that size, after the header's line
// that it is about; "<version>" if nothing is.
std::string Verify(const std::string& bytes, std::size_t blockBytes = std::string::npos) {
  FirmwareVerifier verifier("Vistel");
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string block = bytes.substr(at, blockBytes);
    if (!verifier.Take(block)) break;
    at += block.size();
  }
  FirmwareImage image;
  const Outcome outcome = verifier.Finish(image);
  return outcome.IsSuccess() ? "<" + image.version + ">" : outcome.Record();
}

// Lines of a header with ";" after each, "~" for a carriage return; F, M, V, L and S for right
// ones.
TEST(FirmwareImage, Headers) {
  const std::map<std::string, std::string> kRight = {
      {"F", "VISTEL-FIRMWARE 1"}, {"M", "Model: Vistel"},
      {"V", "Version: 2.4.0"},    {"L", "Length: 6"},
      {"S", "SHA-256: *"},        {"0", "SHA-256: " + std::string(64, '0')}};
  for (const auto& row : Rows(R"(
      F;M;V;L;S; => <2.4.0>
      F;S;L;V;M; => <2.4.0>
      ; => This file is no firmware image.
      GIF89a;M;V;L;S; => This file is no firmware image.
      VISTEL-FIRMWARE x; => This file is no firmware image.
      VISTEL-FIRMWARE 1234567890; => This file is no firmware image.
      VISTEL-FIRMWARE 2;Something: new;
        => 'VISTEL-FIRMWARE 2': The header of the firmware image is of a version that this device does not know.
      VISTEL-FIRMWARE 1~;M;V;L;S; => The header of the firmware image holds an unknown line.
      F;Model: Vistel~;Version: 2~;Length: 6~;SHA-256: 0~;~;
        => The header of the firmware image holds an unknown line.
      F;Model:Vistel; => 'Model:Vistel': The header of the firmware image holds an unknown line.
      F;Colour: red; => 'Colour: red': The header of the firmware image holds an unknown line.
      F;V;L;S; => 'Model': The header of the firmware image lacks a line.
      F;M;L;S; => 'Version': The header of the firmware image lacks a line.
      F;M;V;S; => 'Length': The header of the firmware image lacks a line.
      F;M;V;L; => 'SHA-256': The header of the firmware image lacks a line.
      F;M;M;V;L;S; => 'Model': The header of the firmware image holds a line twice.
      F;M;V;V;L;S; => 'Version': The header of the firmware image holds a line twice.
      F;M;V;L;L;S; => 'Length': The header of the firmware image holds a line twice.
      F;M;V;L;0;S; => 'SHA-256': The header of the firmware image holds a line twice.
      F;Model: ; => 'Model: ': The header of the firmware image holds a faulty line.
      F;Model: <b>; => 'Model: <b>': The header of the firmware image holds a faulty line.
      F;Model: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa;
        => 'Model: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa': The header of the firmware image holds a faulty line.
      F;Version: 1 2; => 'Version: 1 2': The header of the firmware image holds a faulty line.
      F;Length: 0; => 'Length: 0': The header of the firmware image holds a faulty line.
      F;Length: 06; => 'Length: 06': The header of the firmware image holds a faulty line.
      F;Length: -6; => 'Length: -6': The header of the firmware image holds a faulty line.
      F;Length: 99999999999999999999; => 'Length: 99999999999999999999': The header of the firmware image holds a faulty line.
      F;SHA-256: AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA;
        => 'SHA-256: AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA': The header of the firmware image holds a faulty line.
      F;SHA-256: 00; => 'SHA-256: 00': The header of the firmware image holds a faulty line.
      F;Model: Other 2;V;L;S; => 'Model: Other 2': The firmware image is for another device.
      F;M;V;Length: 6291455;S; => The firmware image is too large.
      F;M;V;Length: 7;S; => The firmware image is cut off.
      F;M;V;Length: 5;S; => The firmware image is longer than its header says.
      F;M;V;L;0; => The firmware image is damaged: its SHA-256 checksum is another one.
      )")) {
    std::string lines;
    for (const std::string& line : StringVector(';', row[0])) {
      const auto right = kRight.find(line);
      lines += (right == kRight.end() ? line : right->second) + "\n";
    }
    lines.pop_back();  // of the empty text after the last ";"
    std::replace(lines.begin(), lines.end(), '~', '\r');
    for (const std::size_t blockBytes : {1, 7, 1000}) {
      EXPECT_EQ(Verify(Image(lines, "hello!"), blockBytes), row.at(1)) << row[0];
    }
  }
  EXPECT_EQ(Verify(""), kNoImage);
  EXPECT_EQ(Verify("VISTEL-FIRMWARE 1\n" + std::string(2000, 'x')),
            "The header of the firmware image is too long.");
}

TEST(FirmwareImage, CutFlippedAndTrailed) {
  const std::string image = RightImage("2.4.0", std::string("\n\n\0\xFFpayload", 11));
  ASSERT_EQ(Verify(image), "<2.4.0>");
  for (std::size_t at = 0; at < image.size(); ++at) {
    EXPECT_EQ(Verify(image.substr(0, at)), at < 16 ? kNoImage : "The firmware image is cut off.");
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string flipped = image;
      flipped[at] = static_cast<char>(flipped[at] ^ (1 << bit));
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
    const std::string command = "cd " + folder.Path() +
                                " && '" VISTEL_TEST_MAKE_FIRMWARE "' --model Vistel --version '" +
                                version + "' payload image >output 2>&1";
    return std::system(command.c_str());
  };
  ASSERT_EQ(make("2.4.0-01"), 0) << ReadFile(folder.Path("output"));
  const std::string image = ReadFile(folder.Path("image"));
  EXPECT_EQ(image, RightImage("2.4.0-01", payload));
  EXPECT_NE(image.find("SHA-256: " + ReadFile(folder.Path("output")) + "\n"), std::string::npos);
  EXPECT_NE(make("2 4"), 0);
}

}  // namespace
