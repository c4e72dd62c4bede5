// SPDX-License-Identifier: MIT
//
// Each record takes one write(); nothing is buffered, so a crash loses nothing.
#include "sysmgr/log/Log.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
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

// The journal names the file that it reads, so that standard error sent elsewhere is no mistake.
bool IsJournal() {
  const char* const named = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (named == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == named;
}

std::string Record(std::time_t seconds, std::string_view text, Priority priority) {
  static const bool isJournal = IsJournal();
  std::string record;
  if (isJournal) record = "<" + std::to_string(static_cast<int>(priority)) + ">";
  record += Time(seconds) + " sysmgrd: ";
  for (const char byte : text) {
    if (record.size() == kMaxRecordBytes - 1) break;
    record += IsAsciiPrintable(byte) ? byte : '?';
  }
  record += '\n';
  return record;
}

void WriteAt(std::time_t seconds, std::string_view text, Priority priority) {
  pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
  if (poll(&descriptor, 1, 0) != 1 || (descriptor.revents & POLLOUT) == 0) return;
  const std::string record = Record(seconds, text, priority);
  // There is no place to report a record that can't be written.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, record.data(), record.size());
}

// Records of one kind in the present second.
struct Rate {
  const char* kind;
  unsigned most;
  Priority priority;
  std::time_t second = 0;
  unsigned count = 0;

  void Write(std::string_view text) {
    const std::time_t now = std::time(nullptr);
    if (now != second) {
      if (count > most) {
        const std::string left = std::to_string(count - most);
        WriteAt(now, left + " more records about " + kind + " left out", priority);
      }
      second = now;
      count = 0;
    }
    if (++count <= most) WriteAt(now, text, priority);
  }
};

}  // namespace

std::string_view PathOf(std::string_view key) {
  const auto isOfPath = [](char byte) {
    return IsAsciiAlphanumeric(byte) || byte == '.' || byte == '_' || byte == '-';
  };
  const auto* const end = std::find_if_not(key.begin(), key.end(), isOfPath);
  const auto size = static_cast<std::size_t>(end - key.begin());
  return key.substr(0, std::min(size, kMaxNameBytes));
}

void Write(std::string_view text, Priority priority) {
  WriteAt(std::time(nullptr), text, priority);
}

void WriteAboutClient(std::string_view text) {
  static Rate rate{"clients", kMaxClientRecordsPerSecond, Priority::kWarning};
  rate.Write(text);
}

void WriteAboutSet(std::string_view text) {
  static Rate rate{"sets", kMaxSetRecordsPerSecond, Priority::kInfo};
  rate.Write(text);
}

}  // namespace Log
