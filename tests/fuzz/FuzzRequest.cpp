// SPDX-License-Identifier: MIT
//
// Fuzz target: what a client sends, once as a urlencoded text, and once as a multipart body,
// compared with a reader that reads one byte at a time. The input's first byte is the size of the
// pieces in which the body arrives, 0 for all at once. The boundary follows up to a newline, then
// the body; both are expanded.
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/Settings.h"
#include "request/RequestHandler.h"
#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"

// A file for this process only, because several may run at once.
const std::string gUploadFile =
    std::filesystem::temp_directory_path() / ("fuzz_request." + std::to_string(getpid()));

namespace {

constexpr std::size_t kMaxBytes = std::size_t{8} << 20;  // more than the largest file takes

struct Outcome {
  bool whole = false;
  WGLVariables fields;
  std::optional<std::string> file;
};

// Reads a body as simply as possible. It shares only the store of variables with the program, which
// must give the same result.
class Reference {
 public:
  Reference(const std::string& body, const std::string& boundary)
      : body_(body), boundary_(boundary) {}

  Outcome Read() {
    outcome_.whole = Parse();
    return outcome_;
  }

 private:
  bool Get(char& byte) {
    if (position_ == body_.size()) return false;
    byte = body_[position_++];
    return true;
  }

  bool Part(std::string& content, unsigned limit, bool lineBreak) {
    const std::string delimiter = (lineBreak ? "\r\n--" : "--") + boundary_;
    std::string held;
    unsigned read = 0;
    for (char byte; Get(byte);) {
      ++read;
      if (byte != delimiter[held.size()]) {
        if (read < limit) content += held;
        held.clear();
      }
      if (byte == delimiter[held.size()]) {
        held += byte;
        if (held.size() == delimiter.size()) return true;
        if (held.size() >= 127) return false;
      } else if (read < limit) {
        content += byte;
      }
    }
    return false;
  }

  static void Attribute(const std::string& line, const std::string& start, std::string& value) {
    const std::size_t found = line.find(start);
    if (found == std::string::npos) return;
    const std::size_t begin = found + start.size();
    const std::size_t end = line.find('"', begin);
    if (end != std::string::npos) value = line.substr(begin, end - begin);
  }

  bool Header(std::string& name, std::string& fileName) {
    std::string line;
    char byte;
    for (int count = 0; count < 8192 && Get(byte); ++count) {
      if (byte == '\r') continue;
      if (byte != '\n') {
        line += byte;
        continue;
      }
      if (line.empty()) return true;
      Attribute(line, " name=\"", name);
      Attribute(line, " filename=\"", fileName);
      line.clear();
    }
    return false;
  }

  bool Parse() {
    std::string content;
    if (!Part(content, 8192, false)) return false;
    for (char first, second; Get(first) && Get(second);) {
      if (first == '-' && second == '-') return true;
      std::string name, fileName;
      if (first != '\r' || second != '\n' || !Header(name, fileName)) return false;
      content.clear();
      const bool whole = Part(content, fileName.empty() ? 8192 : 6291456, true);
      if (!fileName.empty()) outcome_.file.reset();
      if (!whole) return false;
      if (fileName.empty()) {
        outcome_.fields.Set(name, content);
      } else if (!content.empty()) {
        outcome_.file = content;
      }
    }
    return false;
  }

  const std::string& body_;
  const std::string& boundary_;
  std::size_t position_ = 0;
  Outcome outcome_;
};

bool Same(const WGLVariables& one, const WGLVariables& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

void CheckUrlencoded(const std::string& text) {
  const WGLEscaper escaper("htmlesc");
  Check(RequestHandler::Unescape(escaper.Escape(text)) == text, "decoding undoes the escaping");
  WGLVariables variables;
  RequestHandler(&variables).ParseQueryString(text);
  WGLVariables twice = variables;
  RequestHandler(&twice).ParseQueryString(text);
  Check(Same(variables, twice), "a name occurs once and keeps its place");
  std::string written;
  for (const auto& [name, value] : variables) {
    written += (written.empty() ? "" : "&") + escaper.Escape(name) + "=" + escaper.Escape(value);
  }
  WGLVariables again;
  RequestHandler(&again).ParseQueryString(written);
  Check(Same(variables, again), "what the links of a page send back arrives as it was");
}

std::string_view gInput;  // the rest of standard input
std::size_t gPieceBytes;

}  // namespace

// The linker uses this function instead of read().
extern "C" ssize_t __wrap_read(int /*file*/, void* bytes, std::size_t size) {
  const std::size_t count = gInput.copy(static_cast<char*>(bytes), std::min(size, gPieceBytes));
  gInput.remove_prefix(count);
  return static_cast<ssize_t>(count);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckUrlencoded(std::string(data, data + size));
  if (size == 0) return 0;
  std::string input(data + 1, data + size);
  // Ends at a NUL byte, because it comes from an environment variable.
  const std::string boundary = Expand(Next(input, '\n'), kMaxBytes).c_str();
  const std::string body = Expand(input, kMaxBytes);

  gInput = body;
  gPieceBytes = data[0] != 0 ? data[0] : kMaxBytes;
  WGLVariables fields;
  const int result = RequestHandler(&fields).ParseUploadData(boundary);
  const bool hasFile = std::filesystem::exists(gUploadFile);
  const std::string file = ReadFile(gUploadFile);
  std::filesystem::remove(gUploadFile);

  const Outcome expected = Reference(body, boundary).Read();
  Check(result == (expected.whole ? 1 : 0), "a body is whole or not");
  Check(Same(fields, expected.fields), "fields are read as byte by byte");
  Check(hasFile == expected.file.has_value() && file == expected.file.value_or(""),
        "the last file is what stays");
  return 0;
}
