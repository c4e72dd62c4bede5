// SPDX-License-Identifier: MIT
//
// Opens template files for the scanner, confines them to the document root, and keeps track of the
// file being read, its line, and where to continue when it ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/FileContent.h"

struct yy_buffer_state;  // of the scanner, see WGLScanner.h

struct WGLIncludeInfo {
  std::uint32_t line;       // the current line, from 1
  std::string fileName;     // absolute, without symbolic links
  yy_buffer_state* buffer;  // where to resume, owned; null for the file being read
  std::size_t size;         // of a regular file when it was opened
  const char* next;         // what the scanner has not taken yet: from here ...
  const char* end;          // ... to here; both are null before the file is read
};

class WGLIncludeStack {
 public:
  WGLIncludeStack();
  virtual ~WGLIncludeStack();  // drops files that an error left unread
  WGLIncludeStack(const WGLIncludeStack&) = delete;
  WGLIncludeStack& operator=(const WGLIncludeStack&) = delete;

  // The absolute path of a requested template, with every symbolic link resolved; "" when there is
  // no such file or it is outside the document root. A path that begins with "/" is relative to the
  // document root, any other path to the folder of the file being read.
  std::string MakeRealPath(const std::string& path) const;

  // Opens the main template as the scanner's first input. On failure, writes a template error and
  // ends the process with status 1.
  void Init(const std::string& path);

  // Switches the scanner to an included file; its first byte is the next one read. Call it only
  // after Init. On failure, writes a template error and ends the process with status 1.
  void BeginInclude(const std::string& path);

  // Called at the end of each file. Returns true after switching back to the including file, right
  // after its directive; false at the end of the main template, whose entry stays.
  bool EndInclude();

  // The file being read. Reads its content first if that has not happened; returns null, with errno
  // set, when that fails. The content stays until this object ends. For the scanner, after Init.
  WGLIncludeInfo* Content() {
    WGLIncludeInfo& file = files_.back();
    return file.next != nullptr || Load(file) ? &file : nullptr;
  }

  // Called by the scanner with the number of newlines read.
  void AdvanceLine(std::uint32_t lines);

  // The file being read; "" before the first file.
  std::string FileName() const;

  // The line being read, from 1; 0 before the first file.
  std::uint32_t LineNum() const;

 private:
  static constexpr std::size_t kInitialDepth = 32;

  std::string Candidate(const std::string& path) const;
  void Open(const std::string& path, const char* failure);
  bool Load(WGLIncludeInfo& file);

  std::vector<WGLIncludeInfo> files_;  // the file being read is the last
  std::vector<FileContent> contents_;  // of all files read so far
};

extern WGLIncludeStack gIncludeStack;
