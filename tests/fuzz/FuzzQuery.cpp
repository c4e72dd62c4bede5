// SPDX-License-Identifier: MIT
//
// Fuzz target: the whole input is an urlencoded text, which becomes variables.
#include <algorithm>
#include <string>

#include "base/Settings.h"
#include "request/RequestHandler.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"

const std::string gUploadFile;  // no body is read here

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const WGLEscaper escaper("htmlesc");
  Check(RequestHandler::Unescape(escaper.Escape(text)) == text, "decoding undoes the escaping");

  WGLVariables variables;
  RequestHandler(&variables).ParseQueryString(text);
  WGLVariables twice = variables;
  RequestHandler(&twice).ParseQueryString(text);
  Check(std::equal(variables.begin(), variables.end(), twice.begin(), twice.end()),
        "a name occurs once and keeps its place");

  std::string written;
  for (const auto& [name, value] : variables) {
    written += (written.empty() ? "" : "&") + escaper.Escape(name) + "=" + escaper.Escape(value);
  }
  WGLVariables again;
  RequestHandler(&again).ParseQueryString(written);
  Check(std::equal(variables.begin(), variables.end(), again.begin(), again.end()),
        "what the links of a page send back arrives as it was");
  RequestHandler(nullptr).ParseQueryString(text);
  return 0;
}
