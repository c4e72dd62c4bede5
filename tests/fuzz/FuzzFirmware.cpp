// SPDX-License-Identifier: MIT
//
// Fuzz target: a firmware image is verified, whole and in pieces. The first byte of the input is
// the size of the pieces, the rest the image.
#include <algorithm>
#include <string>
#include <string_view>

#include "sysmgr/firmware/FirmwareImage.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

std::string Verify(std::string_view bytes, std::size_t piece, FirmwareImage& image) {
  FirmwareVerifier verifier("Vistel");
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    if (!verifier.Take(bytes.substr(at, piece))) break;
  }
  return verifier.Finish(image).Record();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  FirmwareImage whole;
  FirmwareImage pieces;
  const std::string problem = Verify(bytes, std::max<std::size_t>(bytes.size(), 1), whole);
  Check(Verify(bytes, data[0] + std::size_t{1}, pieces) == problem, "pieces make no difference");
  if (!problem.empty()) {
    Check(whole.bytes == 0 && whole.model.empty(), "a wrong image tells nothing");
    return 0;
  }
  Check(whole.bytes == bytes.size() && whole.model == "Vistel" && whole.sha256.size() == 64 &&
            whole.version == pieces.version && whole.sha256 == pieces.sha256,
        "a right image is what it says");
  return 0;
}
