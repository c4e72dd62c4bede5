// SPDX-License-Identifier: MIT
#include "wgl/WGLIncludeStack.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

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

// Opens a template; null when that is impossible. A FIFO, which would wait for a writer for ever,
// and a device count as impossible. A folder can be opened, and fails when it is read.
FILE* OpenTemplate(const std::string& path) {
  OpenedFile file = OpenToRead(path);
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

std::string WGLIncludeStack::MakeRealPath(const std::string& path) const {
  const std::string rootPrefix = gDocumentRoot + "/";
  std::string candidate;
  if (!path.empty() && path[0] == '/') {
    candidate = rootPrefix + path.substr(1);
  } else if (!files_.empty()) {
    const std::string& includer = files_.back().fileName;
    candidate = includer.substr(0, includer.rfind('/')) + "/" + path;
  } else {
    candidate = rootPrefix + path;
  }
  // A file name can't hold a NUL byte; realpath would silently use only the bytes before it.
  if (candidate.find('\0') != std::string::npos) return std::string();
  char* resolved = realpath(candidate.c_str(), nullptr);
  if (resolved == nullptr) {
    RequireMemory();
    return std::string();
  }
  std::string result = resolved;
  std::free(resolved);
  if (result.compare(0, rootPrefix.size(), rootPrefix) != 0) return std::string();
  return result;
}

void WGLIncludeStack::Init(const std::string& path) {
  const std::string realPath = MakeRealPath(path);
  if (realPath.empty()) Fail(kOutsideRoot, path);
  yywglin = OpenTemplate(realPath);
  if (yywglin == nullptr) Fail("failed to open main file", realPath);
  files_.push_back({1, realPath, nullptr});
}

void WGLIncludeStack::BeginInclude(const std::string& path) {
  const std::string realPath = MakeRealPath(path);
  if (realPath.empty()) Fail(kOutsideRoot, path);
  yywglin = OpenTemplate(realPath);
  if (yywglin == nullptr) Fail("failed to open file", realPath);
  files_.back().buffer = yywglCurrentBuffer();
  files_.push_back({1, realPath, nullptr});
  yywgl_switch_to_buffer(yywgl_create_buffer(yywglin, kWGLScannerBufferBytes));
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
