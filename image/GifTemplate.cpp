// SPDX-License-Identifier: MIT
#include "image/GifTemplate.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "base/RegularFile.h"
#include "image/GifLibrary.h"

namespace {

// A template has a few thousand bytes and a quarter of a million pixels. A small file can claim to
// have two thousand million pixels, and giflib would reserve the memory for them.
constexpr off_t kMaxFileBytes = off_t{4} * 1024 * 1024;
constexpr long kMaxPixels = 4L * 1024 * 1024;

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

// Leaves the descriptor open and at its beginning.
bool HasAllowedSize(int descriptor) {
  const int another = dup(descriptor);
  GifFileType* file = another >= 0 ? DGifOpenFileHandle(another) : nullptr;
  if (file == nullptr) return false;
  const bool allowed = HasAllowedSize(file);
  DGifCloseFile(file);
  return allowed && lseek(descriptor, 0, SEEK_SET) == 0;
}

// Returns null when the file is not a whole GIF file.
GifFileType* Read(const std::string& path) {
  OpenedFile opened = OpenRegularFile(path);
  if (!opened.descriptor.IsOpen() || opened.status.st_size > kMaxFileBytes ||
      !HasAllowedSize(opened.descriptor.Number())) {
    return nullptr;
  }
  GifFileType* file = DGifOpenFileHandle(opened.descriptor.Release());
  if (file != nullptr && DGifSlurp(file) == GIF_ERROR) {
    DGifCloseFile(file);
    return nullptr;
  }
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
  if (std::fflush(stdout) != 0) return false;
  GifFileType* output = EGifOpenFileHandle(STDOUT_FILENO);
  if (output == nullptr) return false;
  output->SWidth = file_->SWidth;
  output->SHeight = file_->SHeight;
  output->SColorResolution = file_->SColorResolution;
  output->SBackGroundColor = file_->SBackGroundColor;
  // The output only borrows these: EGifSpew first replaces the map by a copy, and closing an output
  // never frees its images.
  output->SColorMap = file_->SColorMap;
  output->ImageCount = file_->ImageCount;
  output->SavedImages = file_->SavedImages;
  if (EGifSpew(output) == GIF_OK) return true;
  // EGifSpew closes the output at its end. If the closing failed, the handle is freed nevertheless,
  // and only the descriptor shows it.
  if (fcntl(STDOUT_FILENO, F_GETFD) != -1) EGifCloseFile(output);
  return false;
}

bool IsStandardOutputOpen() {
  // Without this check, giflib would make an output without a stream and crash.
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  return flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
}
