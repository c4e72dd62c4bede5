// SPDX-License-Identifier: MIT
#include "base/Response.h"

#include <unistd.h>

#include <string_view>

#include "base/Transfer.h"

namespace {

volatile Response::Stage gStage = Response::Stage::kNothing;
bool gIsWhole = true;

bool Write(std::string_view text) {
  return WriteAll(STDOUT_FILENO, text);
}

}  // namespace

void Response::Reach(Stage stage) {
  gStage = stage;
}

void Response::Lose() {
  gIsWhole = false;
}

bool Response::IsWhole() {
  return gIsWhole;
}

void Response::WriteFailure(const char* message) {
  const Stage stage = gStage;
  if (stage == Stage::kContent) return;
  gStage = Stage::kContent;
  if (stage == Stage::kNothing && !(Write("Content-Type: text/plain\r\n") && Write(kCommonHeaders)))
    return;
  if (Write(message)) Write("\r\n");
}
