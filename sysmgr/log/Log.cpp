// SPDX-License-Identifier: MIT
//
// Each record takes one write(); nothing is buffered, so a crash loses nothing.
#include "sysmgr/log/Log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "base/Characters.h"

namespace Log {
namespace {

std::string Time(std::time_t seconds) {
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return std::string(text, size);
}

void WriteAt(std::time_t seconds, std::string_view text) {
  pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
  if (poll(&descriptor, 1, 0) != 1 || (descriptor.revents & POLLOUT) == 0) return;
  const std::string record = Record(Time(seconds), text);
  // There is no place to report a record that can't be written.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, record.data(), record.size());
}

}  // namespace

std::string_view PathOf(std::string_view key) {
  const auto isOfPath = [](char byte) {
    return IsAsciiAlphanumeric(byte) || byte == '.' || byte == '_' || byte == '-';
  };
  const auto* const end = std::find_if_not(key.begin(), key.end(), isOfPath);
  const auto size = static_cast<std::size_t>(end - key.begin());
  return key.substr(0, std::min(size, kMaxNameBytes));
}

std::string Record(std::string_view time, std::string_view text) {
  std::string record(time);
  record += " sysmgrd: ";
  for (const char byte : text) {
    if (record.size() == kMaxRecordBytes - 1) break;
    record += IsAsciiPrintable(byte) ? byte : '?';
  }
  record += '\n';
  return record;
}

void Write(std::string_view text) {
  WriteAt(std::time(nullptr), text);
}

void WriteAboutClient(std::string_view text) {
  static std::time_t second = 0;
  static unsigned count = 0;
  const std::time_t now = std::time(nullptr);
  if (now != second) {
    if (count > kMaxClientRecordsPerSecond) {
      WriteAt(now, std::to_string(count - kMaxClientRecordsPerSecond) +
                       " more records about clients left out");
    }
    second = now;
    count = 0;
  }
  if (++count <= kMaxClientRecordsPerSecond) WriteAt(now, text);
}

}  // namespace Log
