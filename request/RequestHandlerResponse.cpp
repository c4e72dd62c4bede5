// SPDX-License-Identifier: MIT
//
// What every response starts with, and the page that refuses a request.
#include <cstdarg>
#include <cstdio>

#include "request/RequestHandler.h"

namespace {

void WriteHeader(const char* name, const std::string& value) {
  std::fputs(name, stdout);
  std::fputs(": ", stdout);
  std::fwrite(value.data(), 1, value.size(), stdout);
  std::fputs("\r\n", stdout);
}

// Pages show the state of the moment. The block is flushed so that whatever writes the body,
// through this stream or not, comes behind it.
void EndHeaders() {
  std::fputs(
      "Pragma: no-cache\r\n"
      "Cache-Control: no-cache\r\n"
      "Expires: -1\r\n"
      "\r\n",
      stdout);
  std::fflush(stdout);
}

}  // namespace

void RequestHandler::WriteHeaders(const std::string& contentType) {
  WriteHeader("Content-Type", contentType);
  EndHeaders();
}

void RequestHandler::WriteHeaders(const std::string& contentType,
                                  const std::string& contentDisposition) {
  WriteHeader("Content-Type", contentType);
  WriteHeader("Content-Disposition", contentDisposition);
  EndHeaders();
}

void RequestHandler::WriteErrorPage(const char* format, ...) {
  WriteHeaders("text/plain");
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fputs("\r\n", stdout);
  // The log comes next; with descriptor 1 closed, its connection would take that number.
  std::fflush(stdout);
}
