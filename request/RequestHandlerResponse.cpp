// SPDX-License-Identifier: MIT
//
// The headers of every response, and the page that refuses a request.
#include <cstdarg>
#include <cstdio>

#include "base/Response.h"
#include "request/RequestHandler.h"

namespace {

void WriteHeader(const char* name, const std::string& value) {
  std::fputs(name, stdout);
  std::fputs(": ", stdout);
  std::fwrite(value.data(), 1, value.size(), stdout);
  std::fputs("\r\n", stdout);
}

// Pages show the current state, so they must not be cached. Flushes the block, so that the body
// follows it even if it is not written through this stream.
void EndHeaders(bool areOfText) {
  std::fputs(Response::kCommonHeaders, stdout);
  const bool written = std::fflush(stdout) == 0;
  // Nothing may follow headers that are cut.
  if (!written) Response::Lose();
  Response::Reach(areOfText && written ? Response::Stage::kTextHeaders : Response::Stage::kContent);
}

}  // namespace

void RequestHandler::WriteHeaders(const std::string& contentType) {
  WriteHeader("Content-Type", contentType);
  EndHeaders(contentType.compare(0, 5, "text/") == 0);
}

void RequestHandler::WriteHeaders(const std::string& contentType,
                                  const std::string& contentDisposition) {
  WriteHeader("Content-Type", contentType);
  WriteHeader("Content-Disposition", contentDisposition);
  EndHeaders(false);
}

void RequestHandler::WriteErrorPage(const char* format, ...) {
  WriteHeaders("text/plain");
  if (!Response::IsWhole()) return;
  Response::Reach(Response::Stage::kContent);
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fputs("\r\n", stdout);
  // Flushes now, because the caller writes to the log next: if descriptor 1 is closed, the log's
  // connection gets that number.
  if (std::fflush(stdout) != 0) Response::Lose();
}
