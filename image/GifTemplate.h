// SPDX-License-Identifier: MIT
//
// A GIF file that becomes a chart: it is read whole, drawn into, and written to standard output.
// Errors are logged here, except the final line that there is no chart, which the caller logs.
#pragma once

#include <string>

struct GifFileType;

class GifTemplate {
 public:
  // Reads the file at `path`. It must be a regular file that holds exactly one picture, of a size
  // that fits into memory. Any content is safe, even a damaged or hostile file.
  explicit GifTemplate(const std::string& path);
  ~GifTemplate();
  GifTemplate(const GifTemplate&) = delete;
  GifTemplate& operator=(const GifTemplate&) = delete;

  // The picture to draw into, with one saved image; null if the file can't be used. Its palette is
  // null if the file has no global one. Owned by this object.
  GifFileType* Image() { return file_; }

  // Writes screen size, palette and picture to `stdout` and flushes it. Call it only with an image.
  // Returns false on failure and notes a loss, see Response; the output may be cut then.
  bool WriteToStandardOutput() const;

 private:
  GifFileType* file_;
};

// Whether descriptor 1 is open for writing. Call it before opening anything, which could get that
// number.
bool IsStandardOutputOpen();
