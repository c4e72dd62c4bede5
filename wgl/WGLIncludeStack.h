// SPDX-License-Identifier: MIT
//
// Opens template files for the scanner, confines them to the document root, and remembers which
// file is being read, at which line, and where to go on when it ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct yy_buffer_state;  // the scanner's, see WGLScanner.h

struct WGLIncludeInfo {
  std::uint32_t line;       // reached so far, from 1
  std::string fileName;     // absolute, without symbolic links
  yy_buffer_state* buffer;  // where to resume, owned; null for the file being read
};

class WGLIncludeStack {
 public:
  WGLIncludeStack();
  virtual ~WGLIncludeStack();  // drops what an error left unread
  WGLIncludeStack(const WGLIncludeStack&) = delete;
  WGLIncludeStack& operator=(const WGLIncludeStack&) = delete;

  // The absolute path of a requested template, with every symbolic link resolved; "" when there is
  // no such file or it lies outside the document root. A path that begins with "/" counts from the
  // document root, any other one from the folder of the file being read.
  std::string MakeRealPath(const std::string& path) const;

  // Opens the main template as the scanner's first input. On failure writes a template error and
  // ends the process with status 1.
  void Init(const std::string& path);

  // Switches the scanner to an included file; its first byte is the next one read. Only after
  // Init. On failure writes a template error and ends the process with status 1.
  void BeginInclude(const std::string& path);

  // Called at the end of each file. Goes back to the includer, right behind its directive, and
  // returns true; false at the end of the main template, whose entry stays.
  bool EndInclude();

  // Called by the scanner for the newlines it counts.
  void AdvanceLine(std::uint32_t lines);

  // The file being read; "" before the first.
  std::string FileName() const;

  // The line being read, from 1; 0 before the first file.
  std::uint32_t LineNum() const;

 private:
  static constexpr std::size_t kInitialDepth = 32;

  std::vector<WGLIncludeInfo> files_;  // the file being read is the last
};

extern WGLIncludeStack gIncludeStack;
