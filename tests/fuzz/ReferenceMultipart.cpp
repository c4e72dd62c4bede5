// SPDX-License-Identifier: MIT
#include "tests/fuzz/ReferenceMultipart.h"

#include <cstddef>

namespace {

class Reader {
 public:
  Reader(const std::string& body, const std::string& boundary)
      : body_(body), boundary_(boundary), position_(0) {}

  MultipartOutcome Run() {
    outcome_.result = Parse();
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
    for (auto& field : outcome_.fields) {
      if (field.first != name) continue;
      field.second = value;
      return;
    }
    outcome_.fields.emplace_back(name, value);
  }

  int Parse() {
    std::string content;
    if (!Part(content, 8192, false)) return 0;
    for (;;) {
      char first;
      char second;
      if (!Get(first) || !Get(second)) return 0;
      if (first == '-' && second == '-') return 1;
      if (first != '\r' || second != '\n') return 0;
      std::string name;
      std::string fileName;
      if (!Header(name, fileName)) return 0;
      content.clear();
      if (fileName.empty()) {
        if (!Part(content, 8192, true)) return 0;
        Store(name, content);
      } else {
        const bool whole = Part(content, 6291456, true);
        outcome_.file.reset();
        if (whole && !content.empty()) outcome_.file = content;
        if (!whole) return 0;
      }
    }
  }

  const std::string& body_;
  const std::string& boundary_;
  std::size_t position_;
  MultipartOutcome outcome_;
};

}  // namespace

MultipartOutcome ReferenceMultipart(const std::string& body, const std::string& boundary) {
  return Reader(body, boundary).Run();
}
