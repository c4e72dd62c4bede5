// SPDX-License-Identifier: MIT
#include "tests/fuzz/MultipartRun.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <filesystem>

#include "base/Settings.h"
#include "request/RequestHandler.h"
#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLVariables.h"

namespace {

const std::string* gBody = nullptr;  // null while nothing runs
std::size_t gPosition = 0;
std::size_t gPieceBytes = 0;

const std::string& OwnUploadFile() {
  static const std::string path = gUploadFile + "." + std::to_string(getpid());
  return path;
}

const char* OwnPath(const char* path) {
  return gBody != nullptr && path == gUploadFile ? OwnUploadFile().c_str() : path;
}

std::optional<std::string> TakeUploadFile() {
  const std::string& path = OwnUploadFile();
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return {};
  Check((status.st_mode & 07777) == 0600, "the upload file is its owner's alone");
  std::string content = ReadFile(path);
  std::filesystem::remove(path);
  return content;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  return __real_open(OwnPath(path), flags, mode);
}

int __real_unlink(const char* path);
int __wrap_unlink(const char* path) {
  return __real_unlink(OwnPath(path));
}

int __real_lstat(const char* path, struct stat* status);
int __wrap_lstat(const char* path, struct stat* status) {
  return __real_lstat(OwnPath(path), status);
}

ssize_t __real_read(int file, void* bytes, size_t size);
ssize_t __wrap_read(int file, void* bytes, size_t size) {
  if (gBody == nullptr || file != STDIN_FILENO) return __real_read(file, bytes, size);
  const std::size_t count = gBody->copy(static_cast<char*>(bytes), std::min(size, gPieceBytes),
                                        std::min(gPosition, gBody->size()));
  gPosition += count;
  return static_cast<ssize_t>(count);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

MultipartOutcome RunMultipart(const std::string& body, const std::string& boundary,
                              std::size_t pieceBytes) {
  std::filesystem::create_directories(std::filesystem::path(gUploadFile).parent_path());
  gBody = &body;
  gPosition = 0;
  gPieceBytes = pieceBytes;
  WGLVariables variables;
  MultipartOutcome outcome;
  outcome.result = RequestHandler(&variables).ParseUploadData(boundary);
  gBody = nullptr;
  outcome.fields.assign(variables.begin(), variables.end());
  outcome.file = TakeUploadFile();
  return outcome;
}
