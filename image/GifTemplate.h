// SPDX-License-Identifier: MIT
//
// A GIF file that becomes a chart: read whole, drawn into, written to standard output. What can go
// wrong goes to the system log, but for the line that says that there is no chart, which is the
// caller's.
#pragma once

#include <string>

struct GifFileType;

class GifTemplate {
 public:
  // Reads the file at `path`, which must be a regular file and hold exactly one picture, of a size
  // that memory can take. It may be of any quality: no file does harm.
  explicit GifTemplate(const std::string& path);
  ~GifTemplate();
  GifTemplate(const GifTemplate&) = delete;
  GifTemplate& operator=(const GifTemplate&) = delete;

  // What was read, to be drawn into, with one saved image; null when there is nothing to use. The
  // palette is null when the file has none for all of its pictures. Goes with this object.
  GifFileType* Image() { return file_; }

  // Writes screen size, palette and picture to descriptor 1, which must be open, behind what
  // `stdout` still holds. False when that fails; the output may be cut then. Descriptor 1 is closed
  // afterwards, unless the failure came before the first byte. Not without an image.
  bool WriteToStandardOutput() const;

 private:
  GifFileType* file_;
};

// Whether descriptor 1 is open for writing. To be asked before anything else is opened, which would
// get that number.
bool IsStandardOutputOpen();
