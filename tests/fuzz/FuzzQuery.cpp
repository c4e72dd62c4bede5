// SPDX-License-Identifier: MIT
//
// Fuzz target: an urlencoded text becomes variables. The input is the text as it stands.
#include <algorithm>
#include <string>

#include "request/RequestHandler.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"

namespace {

void CheckDecoding(const std::string& text) {
  const std::string decoded = RequestHandler::Unescape(text);
  Check(decoded.size() <= text.size(), "decoding never grows a text");
  // Each escape stands for three bytes, so that this many bytes must at least be left.
  const auto escapes = static_cast<std::size_t>(std::count(text.begin(), text.end(), '%'));
  Check(decoded.size() + 2 * escapes >= text.size(), "only escapes make a text shorter");
  const std::string encoded = WGLEscaper("htmlesc").Escape(text);
  Check(RequestHandler::Unescape(encoded) == text, "decoding undoes the escaping for URLs");
}

void CheckStore(const WGLVariables& variables, const std::string& text) {
  // Each field but the last took a "=" and an "&" with it.
  const auto assignments = std::count(text.begin(), text.end(), '=');
  const auto separators = std::count(text.begin(), text.end(), '&');
  Check(variables.end() - variables.begin() <= std::min(assignments, separators) + 1,
        "there are no more variables than fields");
  Check(text.empty() == (variables.begin() == variables.end()),
        "every text but the empty one has a field");
  for (auto entry = variables.begin(); entry != variables.end(); ++entry) {
    Check(variables.find(entry->first) == entry, "a name occurs once");
    Check(variables.Get(entry->first, "") == entry->second, "a value can be read");
    const std::string safe = WGLVariables::ReplaceSpecialChars(entry->first);
    Check(safe.size() == entry->first.size() && WGLVariables::ReplaceSpecialChars(safe) == safe,
          "a name is made safe byte for byte, and once is enough");
    CheckDecoding(entry->first);
    CheckDecoding(entry->second);
  }
}

// What the page's links and forms send back must arrive as it was.
void CheckRoundTrip(const WGLVariables& variables) {
  const WGLEscaper escaper("htmlesc");
  std::string text;
  for (const auto& [name, value] : variables) {
    if (!text.empty()) text += '&';
    text += escaper.Escape(name) + "=" + escaper.Escape(value);
  }
  WGLVariables again;
  RequestHandler(&again).ParseQueryString(text);
  Check(std::equal(variables.begin(), variables.end(), again.begin(), again.end()),
        "an encoded store decodes to itself");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  CheckDecoding(text);

  WGLVariables variables;
  RequestHandler(&variables).ParseQueryString(text);
  CheckStore(variables, text);
  CheckRoundTrip(variables);

  WGLVariables twice;
  RequestHandler handler(&twice);
  handler.ParseQueryString(text);
  handler.ParseQueryString(text);
  Check(std::equal(variables.begin(), variables.end(), twice.begin(), twice.end()),
        "the last value of a name wins and keeps the name's place");

  RequestHandler(nullptr).ParseQueryString(text);
  return 0;
}
