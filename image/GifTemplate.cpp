// SPDX-License-Identifier: MIT
#include "image/GifTemplate.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/RegularFile.h"
#include "base/Response.h"
#include "base/Transfer.h"
#include "image/GifLibrary.h"

namespace {

// A template has a few thousand bytes and a quarter of a million pixels. A small file can claim to
// have two thousand million pixels, and giflib would reserve the memory for them.
constexpr off_t kMaxFileBytes = off_t{4} * 1024 * 1024;
constexpr long kMaxPixels = 4L * 1024 * 1024;

// The bytes of a file that giflib has not read yet. giflib makes streams of descriptors, and
// crashes when there is no memory for a stream.
struct Unread {
  const char* bytes;
  std::size_t size;
};

int ReadBytes(GifFileType* file, GifByteType* bytes, int size) {
  auto& unread = *static_cast<Unread*>(file->UserData);
  const std::size_t count = std::min(unread.size, static_cast<std::size_t>(std::max(size, 0)));
  std::memcpy(bytes, unread.bytes, count);
  unread.bytes += count;
  unread.size -= count;
  return static_cast<int>(count);
}

// Leaves failures to the final flush, because giflib's clean-up depends on where it failed. Writes
// nothing without a stream.
int WriteBytes(GifFileType* file, const GifByteType* bytes, int size) {
  auto* const stream = static_cast<FILE*>(file->UserData);
  if (stream != nullptr) std::fwrite(bytes, 1, static_cast<std::size_t>(size), stream);
  return size;
}

bool AddPixels(GifFileType* file, long& pixels) {
  if (DGifGetImageDesc(file) == GIF_ERROR) return false;
  const long width = file->Image.Width;
  const long height = file->Image.Height;
  if (width > kMaxPixels || (width > 0 && height > (kMaxPixels - pixels) / width)) return false;
  pixels += width * height;
  return true;
}

bool SkipPicture(GifFileType* file) {
  int codeBits = 0;
  GifByteType* block = nullptr;
  if (DGifGetCode(file, &codeBits, &block) == GIF_ERROR) return false;
  while (block != nullptr) {
    if (DGifGetCodeNext(file, &block) == GIF_ERROR) return false;
  }
  return true;
}

// Refuses an extension without content, because versions of giflib differ in where they find its
// end.
bool SkipExtension(GifFileType* file) {
  int kind = 0;
  GifByteType* block = nullptr;
  if (DGifGetExtension(file, &kind, &block) == GIF_ERROR || block == nullptr) return false;
  while (block != nullptr) {
    if (DGifGetExtensionNext(file, &block) == GIF_ERROR) return false;
  }
  return true;
}

// Goes through the file without unpacking its pictures. Returns false when all of them together
// have more pixels than allowed, or when the file isn't whole.
bool HasAllowedSize(GifFileType* file) {
  long pixels = 0;
  for (;;) {
    GifRecordType record = UNDEFINED_RECORD_TYPE;
    if (DGifGetRecordType(file, &record) == GIF_ERROR) return false;
    switch (record) {
      case IMAGE_DESC_RECORD_TYPE:
        if (!AddPixels(file, pixels) || !SkipPicture(file)) return false;
        break;
      case EXTENSION_RECORD_TYPE:
        if (!SkipExtension(file)) return false;
        break;
      case TERMINATE_RECORD_TYPE:
        return true;
      default:
        return false;
    }
  }
}

bool HasAllowedSize(const std::string& bytes) {
  Unread unread = {bytes.data(), bytes.size()};
  GifFileType* file = DGifOpen(&unread, ReadBytes);
  if (file == nullptr) return false;
  const bool allowed = HasAllowedSize(file);
  DGifCloseFile(file);
  return allowed;
}

bool ReadFile(const std::string& path, std::string& bytes) {
  const OpenedFile opened = OpenRegularFile(path);
  if (!opened.descriptor.IsOpen() || opened.status.st_size > kMaxFileBytes) return false;
  bytes.resize(static_cast<std::size_t>(opened.status.st_size));
  const ssize_t count = ReadUpTo(opened.descriptor.Number(), bytes.data(), bytes.size());
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return count >= 0;
}

// Returns null when the file is not a whole GIF file.
GifFileType* Read(const std::string& path) {
  std::string bytes;
  if (!ReadFile(path, bytes)) return nullptr;
  errno = 0;
  Unread unread = {bytes.data(), bytes.size()};
  GifFileType* file = HasAllowedSize(bytes) ? DGifOpen(&unread, ReadBytes) : nullptr;
  if (file != nullptr && DGifSlurp(file) == GIF_ERROR) {
    DGifCloseFile(file);
    file = nullptr;
  }
  if (file == nullptr && errno == ENOMEM) Response::Lose();
  return file;
}

}  // namespace

GifTemplate::GifTemplate(const std::string& path) : file_(Read(path)) {
  if (file_ == nullptr || file_->ImageCount == 1) return;
  syslog(LOG_ERR, "Wrong image count in GIF file '%s': %d instead of 1", path.c_str(),
         file_->ImageCount);
  DGifCloseFile(file_);
  file_ = nullptr;
}

GifTemplate::~GifTemplate() {
  if (file_ != nullptr) DGifCloseFile(file_);
}

bool GifTemplate::WriteToStandardOutput() const {
  GifFileType* output = EGifOpen(stdout, WriteBytes);
  bool written = false;
  if (output != nullptr) {
    output->SWidth = file_->SWidth;
    output->SHeight = file_->SHeight;
    output->SColorResolution = file_->SColorResolution;
    output->SBackGroundColor = file_->SBackGroundColor;
    // The output only borrows these: EGifSpew first replaces the map by a copy, and closing an
    // output never frees its images.
    output->SColorMap = file_->SColorMap;
    output->ImageCount = file_->ImageCount;
    output->SavedImages = file_->SavedImages;
    written = EGifSpew(output) == GIF_OK;
    // EGifSpew closes the output at its end, and can't fail then. It fails before that without a
    // palette or memory. Closing writes the last byte.
    if (!written) {
      output->UserData = nullptr;
      EGifCloseFile(output);
    }
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) written = false;
  if (!written) Response::Lose();
  return written;
}

bool IsStandardOutputOpen() {
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  return flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
}
