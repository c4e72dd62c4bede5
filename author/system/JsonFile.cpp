// SPDX-License-Identifier: MIT
#include "author/system/JsonFile.h"

#include <algorithm>
#include <cstring>

#include "author/system/Failure.h"
#include "base/RegularFile.h"
#include "base/Transfer.h"

namespace {

constexpr std::size_t kBlockBytes = 65536;

[[noreturn]] void FailToRead(const std::string& path, const char* why) {
  throw Failure("can't read '" + path + "': " + why);
}

}  // namespace

// Asks for no size beforehand: the file may change meanwhile, and some files have none.
std::string ReadFile(const std::string& path) {
  const OpenedFile file = OpenRegularFile(path);
  if (!file.descriptor.IsOpen()) {
    FailToRead(path, file.error != 0 ? std::strerror(file.error) : "it is no regular file");
  }
  std::string text;
  std::size_t size = 0;
  for (;;) {
    text.resize(size + kBlockBytes);
    const ssize_t count = ReadUpTo(file.descriptor.Number(), text.data() + size, kBlockBytes);
    if (count < 0) FailToRead(path, std::strerror(errno));
    size += static_cast<std::size_t>(count);
    if (count < static_cast<ssize_t>(kBlockBytes)) break;
    if (size > kMaxFileBytes) FailToRead(path, "it is too large");
  }
  text.resize(size);
  return text;
}

std::string ReasonOf(const nlohmann::json::exception& error) {
  const std::string message = error.what();
  const std::size_t bracket = message.find("] ");
  return bracket == std::string::npos ? message : message.substr(bracket + 2);
}

nlohmann::json ReadJsonFile(const std::string& path) {
  const std::string text = ReadFile(path);
  try {
    return nlohmann::json::parse(text);
  } catch (const nlohmann::json::parse_error& error) {
    const std::size_t byte = std::min(error.byte, text.size());
    const auto line = std::count(text.begin(), text.begin() + static_cast<long>(byte), '\n') + 1;
    throw Failure("'" + path + "', line " + std::to_string(line) + ": " + ReasonOf(error));
  }
}
