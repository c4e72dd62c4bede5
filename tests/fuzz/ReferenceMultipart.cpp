// SPDX-License-Identifier: MIT
#include "tests/fuzz/ReferenceMultipart.h"

#include <algorithm>
#include <cstddef>

namespace {

class Reader {
 public:
  Reader(const std::string& body, const std::string& boundary) : body_(body), boundary_(boundary) {}

  MultipartOutcome Run() {
    outcome_.result = Parse() ? 1 : 0;
    return outcome_;
  }

 private:
  bool Get(char& byte) {
    if (position_ == body_.size()) return false;
    byte = body_[position_++];
    return true;
  }

  bool Part(std::string& output, unsigned limit, bool lineBreak) {
    const std::string delimiter = (lineBreak ? "\r\n--" : "--") + boundary_;
    std::string held;
    unsigned read = 0;
    char byte;
    while (Get(byte)) {
      ++read;
      for (;;) {
        if (byte == delimiter[held.size()]) {
          held += byte;
          if (held.size() == delimiter.size()) return true;
          if (held.size() >= 127) return false;
          break;
        }
        if (held.empty()) {
          if (read < limit) output += byte;
          break;
        }
        if (read < limit) output += held;
        held.clear();
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

  void Store(const std::string& name, const std::string& value) {
    auto& fields = outcome_.fields;
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& known) { return known.first == name; });
    if (field == fields.end())
      fields.emplace_back(name, value);
    else
      field->second = value;
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
      if (fileName.empty())
        Store(name, content);
      else if (!content.empty())
        outcome_.file = content;
    }
    return false;
  }

  const std::string& body_;
  const std::string& boundary_;
  std::size_t position_ = 0;
  MultipartOutcome outcome_;
};

}  // namespace

MultipartOutcome ReferenceMultipart(const std::string& body, const std::string& boundary) {
  return Reader(body, boundary).Run();
}
