// SPDX-License-Identifier: MIT
//
// Parses the environment and a form body into variables.
#include "request/RequestHandler.h"

#include <vector>

#include "base/Characters.h"
#include "base/Number.h"
#include "platform/RegExp.h"
#include "request/Environment.h"
#include "request/FormBody.h"
#include "values/WGLVariables.h"

namespace {

// The star after the last letter matches any content type that begins with the form type without
// that letter, so that parameters may follow it.
constexpr char kFormPattern[] = "^application/x-www-form-urlencoded*";

// The boundary is everything after the last "boundary=", including quotes.
constexpr char kMultipartPattern[] = "^multipart/form-data.*boundary=(.*)$";

// See RequestHandler::Unescape.
unsigned DigitValue(char byte) {
  if (IsAsciiDigit(byte)) return static_cast<unsigned>(byte - '0');
  if (IsAsciiLetter(byte)) return static_cast<unsigned>(AsciiLowerCase(byte) - 'a') + 10;
  return 0;
}

}  // namespace

RequestHandler::RequestHandler(WGLVariables* variables)
    : contentLength_(0), variables_(variables) {}

RequestHandler::~RequestHandler() = default;

bool RequestHandler::Parse() {
  method_ = Environment("REQUEST_METHOD");
  contentType_ = Environment("CONTENT_TYPE");
  contentLength_ = static_cast<std::uint32_t>(WGLToInt(Environment("CONTENT_LENGTH").c_str()));
  if (method_ == "GET" || method_ == "HEAD") {
    ParseQueryString(Environment("QUERY_STRING"));
    return true;
  }
  if (method_ == "POST") {
    if (RegExp(kFormPattern, RegExp::kExtended).Match(contentType_)) return ParseForm();
    std::vector<std::string> groups;
    if (RegExp(kMultipartPattern, RegExp::kExtended).Match(contentType_, &groups)) {
      return ParseMultipart(groups[1]);
    }
    WriteErrorPage("Unsupported content type: '%s'", contentType_.c_str());
    return false;
  }
  WriteErrorPage("Unsupported request method: '%s'", method_.c_str());
  return false;
}

// Checks the announced length, but reads the body independently of it.
bool RequestHandler::ParseForm() {
  if (contentLength_ < 1 || contentLength_ > kMaxFormBytes) {
    WriteErrorPage("Missing or invalid content length: %u", contentLength_);
    return false;
  }
  ParseQueryString(ReadFormBody());
  return true;
}

void RequestHandler::ParseQueryString(const std::string& text) {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::string name = Unescape(ParseQueryStringPart(text, position, text.size(), "="));
    const std::string value = Unescape(ParseQueryStringPart(text, position, text.size(), "&"));
    if (variables_ != nullptr) variables_->Set(name, value);
  }
}

std::string RequestHandler::ParseQueryStringPart(const std::string& text, std::size_t& position,
                                                 std::size_t length,
                                                 const std::string& delimiter) const {
  if (position >= length) return std::string();
  const std::size_t start = position;
  std::size_t end = text.find(delimiter, start);
  if (end == std::string::npos || end > length) end = length;
  position = end + 1;
  return text.substr(start, end - start);
}

// Decodes in place: the result is never longer than the text.
std::string RequestHandler::Unescape(std::string text) {
  std::size_t decoded = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char byte = text[i];
    if (byte == '%' && text.size() - i > 2) {
      byte = static_cast<char>(DigitValue(text[i + 1]) * 16 + DigitValue(text[i + 2]));
      i += 2;
    } else if (byte == '+') {
      byte = ' ';
    }
    text[decoded++] = byte;
  }
  text.resize(decoded);
  return text;
}
