// SPDX-License-Identifier: MIT
//
// Fuzz target: reads an uploaded file as a configuration and as a firmware image. The first byte of
// the input is the size of the pieces in which the image is verified.
#include <algorithm>
#include <string>
#include <string_view>

#include "sysmgr/configuration/ConfigurationText.h"
#include "sysmgr/firmware/FirmwareImage.h"
#include "tests/fuzz/FuzzTarget.h"

static void CheckConfiguration(std::string_view text) {
  using namespace ConfigurationText;
  const Parsed parsed = Read(text);
  Check(parsed.mistakes.Told().size() <= ProblemList::kMaxTold, "few mistakes are kept");
  Check(parsed.mistakes.Count() <= kMaxProblems, "reading ends at many mistakes");
  if (!parsed.outcome.IsSuccess() || parsed.mistakes.Count() > 0) return;
  Check(text.size() <= kMaxBytes && parsed.settings.size() <= kMaxSettings, "limits are kept");
  const Parsed again = Read(Write(parsed.identity, parsed.settings));
  Check(again.outcome.IsSuccess() && again.mistakes.Count() == 0 &&
            again.settings == parsed.settings && again.identity.device == parsed.identity.device &&
            again.identity.version == parsed.identity.version,
        "what is written again reads the same");
}

static std::string Verify(std::string_view bytes, std::size_t piece, FirmwareImage& image) {
  FirmwareVerifier verifier({"Vistel", {}, true});
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    if (!verifier.Take(bytes.substr(at, piece))) break;
  }
  return verifier.Finish(image).Record();
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  CheckConfiguration(bytes);

  FirmwareImage whole, pieces;
  const std::string problem = Verify(bytes, size, whole);
  Check(Verify(bytes, data[0] + std::size_t{1}, pieces) == problem, "pieces make no difference");
  const bool isEmpty = whole.bytes == 0 && whole.model.empty();
  const bool isWhole = whole.bytes == bytes.size() && whole.model == "Vistel" &&
                       whole.sha256.size() == 64 && whole.version == pieces.version &&
                       whole.sha256 == pieces.sha256;
  Check(problem.empty() ? isWhole : isEmpty, "a right image is what it says, a wrong one nothing");
  return 0;
}
