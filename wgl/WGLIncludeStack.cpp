// SPDX-License-Identifier: MIT
#include "wgl/WGLIncludeStack.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/RegularFile.h"
#include "base/Response.h"
#include "base/Settings.h"
#include "wgl/WGLError.h"
#include "wgl/WGLScanner.h"

namespace {

// Ends the process if the last call failed for want of memory: there is nothing wrong with the
// template then.
void RequireMemory() {
  if (errno != ENOMEM) return;
  Response::WriteFailure(Response::kOutOfMemory);
  std::fprintf(stderr, "%s\n", Response::kOutOfMemory);
  std::exit(2);
}

// A path without ".", ".." and empty names. It is the real path if there is no symbolic link on it.
std::string WithoutDots(const std::string& path) {
  std::string result;
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string name = path.substr(start, end - start);
    start = end + 1;
    if (name == "..") {
      result.erase(std::min(result.rfind('/'), result.size()));
    } else if (!name.empty() && name != ".") {
      result += '/';
      result += name;
    }
  }
  return result;
}

bool IsInRoot(const std::string& realPath) {
  const std::string prefix = gDocumentRoot + "/";
  return realPath.compare(0, prefix.size(), prefix) == 0;
}

// The stream of an open template; null when there is none. A FIFO, which would wait for a writer
// for ever, and a device count as none. A folder can be opened, and fails when it is read.
FILE* StreamOf(OpenedFile& file) {
  if (!file.IsRegular() && !file.IsFolder()) return nullptr;
  FILE* stream = fdopen(file.descriptor.Number(), "r");
  if (stream == nullptr) {
    RequireMemory();
  } else {
    file.descriptor.Release();
  }
  return stream;
}

[[noreturn]] void Fail(const char* message, const std::string& path) {
  yywglerror(message);
  std::fwrite(path.data(), 1, path.size(), stdout);
  std::fputc('\n', stdout);
  std::exit(1);
}

constexpr char kOutsideRoot[] = "requested file outside of document subtree";

}  // namespace

WGLIncludeStack::WGLIncludeStack() {
  files_.reserve(kInitialDepth);
}

WGLIncludeStack::~WGLIncludeStack() {
  for (const WGLIncludeInfo& file : files_) yywgl_delete_buffer(file.buffer);
}

std::string WGLIncludeStack::Candidate(const std::string& path) const {
  if (!path.empty() && path[0] == '/') return gDocumentRoot + path;
  if (files_.empty()) return gDocumentRoot + "/" + path;
  const std::string& includer = files_.back().fileName;
  return includer.substr(0, includer.rfind('/')) + "/" + path;
}

std::string WGLIncludeStack::MakeRealPath(const std::string& path) const {
  const std::string candidate = Candidate(path);
  // A file name can't hold a NUL byte; realpath would silently use only the bytes before it.
  if (candidate.find('\0') != std::string::npos) return std::string();
  char* resolved = realpath(candidate.c_str(), nullptr);
  if (resolved == nullptr) {
    RequireMemory();
    return std::string();
  }
  std::string result = resolved;
  std::free(resolved);
  return IsInRoot(result) ? result : std::string();
}

// Makes a template the file being read. Nearly always, one call opens it and finds no symbolic link
// on its path. Nothing outside the document root is opened.
void WGLIncludeStack::Open(const std::string& path, const char* failure) {
  const std::string candidate = Candidate(path);
  std::string realPath = WithoutDots(candidate);
  OpenedFile file;
  if (IsInRoot(realPath)) file = OpenWithoutLinks(candidate);
  if (!file.descriptor.IsOpen()) {
    realPath = MakeRealPath(path);
    if (!realPath.empty()) file = OpenToRead(realPath);
  }
  if (realPath.empty()) Fail(kOutsideRoot, path);
  yywglin = StreamOf(file);
  if (yywglin == nullptr) Fail(failure, realPath);
  if (!files_.empty()) files_.back().buffer = yywglCurrentBuffer();
  const auto size = static_cast<std::size_t>(file.IsRegular() ? file.status.st_size : 0);
  files_.push_back({1, realPath, nullptr, size, nullptr, nullptr});
}

void WGLIncludeStack::Init(const std::string& path) {
  Open(path, "failed to open main file");
}

void WGLIncludeStack::BeginInclude(const std::string& path) {
  Open(path, "failed to open file");
  yywgl_switch_to_buffer(yywgl_create_buffer(yywglin, kWGLScannerBufferBytes));
}

bool WGLIncludeStack::Load(WGLIncludeInfo& file) {
  FileContent content;
  if (!content.Load(fileno(yywglin), file.size)) return false;
  file.next = content.Bytes().data();
  file.end = file.next + content.Bytes().size();
  contents_.push_back(std::move(content));
  return true;
}

bool WGLIncludeStack::EndInclude() {
  if (files_.size() < 2) return false;
  files_.pop_back();
  yywgl_delete_buffer(yywglCurrentBuffer());
  yywgl_switch_to_buffer(files_.back().buffer);
  files_.back().buffer = nullptr;
  return true;
}

void WGLIncludeStack::AdvanceLine(std::uint32_t lines) {
  if (!files_.empty()) files_.back().line += lines;
}

std::string WGLIncludeStack::FileName() const {
  return files_.empty() ? std::string() : files_.back().fileName;
}

std::uint32_t WGLIncludeStack::LineNum() const {
  return files_.empty() ? 0 : files_.back().line;
}
