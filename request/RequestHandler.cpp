// SPDX-License-Identifier: MIT
//
// Parses the environment and a form body into variables.
#include "request/RequestHandler.h"

#include <string_view>

#include "base/Characters.h"
#include "base/Number.h"
#include "request/Environment.h"
#include "request/FormBody.h"
#include "values/WGLVariables.h"

namespace {

// The form type without its last letter: parameters may follow, and any other text may.
constexpr std::string_view kFormType = "application/x-www-form-urlencode";

constexpr std::string_view kMultipartType = "multipart/form-data";
constexpr std::string_view kBoundary = "boundary=";

// More bytes than the largest allowed fields take, when all of them are written as "%XX".
constexpr std::size_t kMaxFormTextBytes =
    RequestHandler::kMaxFieldBytes * 3 + RequestHandler::kMaxFields * 2;

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// The boundary is everything after the last "boundary=", including quotes.
bool TakeBoundary(const std::string& contentType, std::string& boundary) {
  const std::size_t found = contentType.rfind(kBoundary);
  if (!StartsWith(contentType, kMultipartType) || found == std::string::npos) return false;
  boundary = contentType.substr(found + kBoundary.size());
  return true;
}

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
    return ParseFields(Environment("QUERY_STRING"));
  }
  if (method_ == "POST") {
    if (StartsWith(contentType_, kFormType)) return ParseForm();
    std::string boundary;
    if (TakeBoundary(contentType_, boundary)) return ParseMultipart(boundary);
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
  return ParseFields(ReadFormBody(kMaxFormTextBytes));
}

bool RequestHandler::ParseFields(const std::string& text) {
  if (text.size() <= kMaxFormTextBytes) ParseQueryString(text);
  if (text.size() <= kMaxFormTextBytes && !HasTooManyFields()) return true;
  WriteErrorPage(kTooManyFields);
  return false;
}

bool RequestHandler::Store(const std::string& name, const std::string& value) {
  ++fields_;
  fieldBytes_ += name.size() + value.size();
  if (HasTooManyFields()) return false;
  if (variables_ != nullptr) variables_->Set(name, value);
  return true;
}

void RequestHandler::ParseQueryString(const std::string& text) {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::string name = Unescape(ParseQueryStringPart(text, position, text.size(), "="));
    const std::string value = Unescape(ParseQueryStringPart(text, position, text.size(), "&"));
    if (!Store(name, value)) return;
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
