// SPDX-License-Identifier: MIT
//
// Reads multipart bodies (RFC 7578) in one pass: fields become variables, the content of a file
// goes into the upload file. The rule to know: the result is that of a reader that reads one byte
// at a time; blocks only make it faster.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Settings.h"
#include "request/InputWindow.h"
#include "request/RequestHandler.h"
#include "request/UploadFile.h"
#include "request/UploadOutput.h"
#include "values/WGLVariables.h"

namespace {

// A longer delimiter never matches. Boundaries have at most 70 bytes (RFC 2046, 5.1.1).
constexpr std::size_t kMaxDelimiterBytes = 127;

// Limit on the header block of a part, several times the size of usual headers.
constexpr std::size_t kMaxHeaderBytes = 8192;

// Content is kept while fewer bytes than this have been read for its part; the rest is dropped. A
// field may be as large as a whole form, a file as large as a firmware image.
constexpr std::size_t kFieldLimitBytes = 8192;
constexpr std::size_t kFileLimitBytes = 6291456;

// The space keeps the first one from matching inside the second.
constexpr std::string_view kName = " name=\"";
constexpr std::string_view kFileName = " filename=\"";

// Sets `value` to what stands between the start and the next quote; leaves it if there is no such
// text.
void ReadAttribute(const std::string& line, std::string_view start, std::string& value) {
  const std::size_t found = line.find(start);
  if (found == std::string::npos) return;
  const std::size_t begin = found + start.size();
  const std::size_t end = line.find('"', begin);
  if (end != std::string::npos) value = line.substr(begin, end - begin);
}

// Looks for the delimiter in block after block and passes on the content before it.
//
// After a mismatch, only the current byte is compared again, never the end of the matched bytes.
// Matched bytes equal the beginning of the delimiter, so they need not be kept: those at the end of
// earlier blocks are written from the delimiter.
class PartCopier {
 public:
  PartCopier(const std::string& delimiter, UploadOutput& output, std::size_t limit)
      : delimiter_(delimiter), output_(output), limit_(limit), matched_(0), read_(0) {}

  bool IsComplete() const { return matched_ == delimiter_.size(); }
  bool IsTooLong() const { return !IsComplete() && matched_ >= kMaxDelimiterBytes; }

  // Returns how much of the block was read: all of it, unless the search is over.
  std::size_t Copy(std::string_view block) {
    const std::size_t held = matched_;  // from earlier blocks
    // Content from this place on is beyond the limit.
    const std::size_t room = limit_ > read_ ? static_cast<std::size_t>(limit_ - read_ - 1) : 0;
    bool heldIsContent = false;
    std::size_t kept = 0;  // the block's content up to here must be written
    std::size_t at = 0;
    while (at < block.size() && !IsComplete() && !IsTooLong()) {
      if (block[at] == delimiter_[matched_]) {
        ++matched_;
        ++at;
      } else if (matched_ > 0) {
        // The matched bytes are content, like the current byte, or are dropped with it.
        if (at < room) {
          kept = at;
          heldIsContent = true;
        }
        matched_ = 0;
      } else {
        const std::size_t end = std::min(block.find(delimiter_[0], at), block.size());
        if (at < room) kept = std::min(end, room);
        at = end;
      }
    }
    if (heldIsContent && held > 0) output_.Write(std::string_view(delimiter_).substr(0, held));
    if (kept > 0) output_.Write(block.substr(0, kept));
    read_ += at;
    return at;
  }

 private:
  const std::string& delimiter_;
  UploadOutput& output_;
  std::uint64_t limit_;
  std::size_t matched_;
  std::uint64_t read_;  // with the delimiter's bytes; a body may be larger than memory
};

}  // namespace

// It is on the heap because of the window's size.
struct RequestHandler::Upload {
  InputWindow input;
};

bool RequestHandler::ParseMultipart(const std::string& boundary) {
  if (ParseUploadData(boundary) > 0) return true;
  WriteErrorPage(HasTooManyFields() ? kTooManyFields : "Malformed multipart data");
  return false;
}

int RequestHandler::ParseUploadData(const std::string& boundary) {
  const auto upload = std::make_unique<Upload>();
  DiscardedOutput preamble;
  if (!ParseUploadDataPart(*upload, boundary, preamble, kFieldLimitBytes, false)) return 0;
  for (;;) {
    const int first = upload->input.Get();
    const int second = upload->input.Get();
    if (first == '-' && second == '-') return 1;
    if (first != '\r' || second != '\n') return 0;
    std::string name;
    std::string fileName;
    if (!ParseUploadDataHeader(*upload, name, fileName)) return 0;
    if (!fileName.empty()) {
      if (!ParseUploadDataFile(*upload, boundary)) return 0;
      continue;
    }
    StringOutput value;
    if (!ParseUploadDataPart(*upload, boundary, value, kFieldLimitBytes, true)) return 0;
    if (!Store(name, value.Text())) return 0;
  }
}

// Keeps the last file of a request, and none if that one is empty.
bool RequestHandler::ParseUploadDataFile(Upload& upload, const std::string& boundary) const {
  UploadFile file(gUploadFile);
  const bool whole = ParseUploadDataPart(upload, boundary, file, kFileLimitBytes, true);
  if (!whole || file.Size() == 0) file.Remove();
  return whole;
}

bool RequestHandler::ParseUploadDataHeader(Upload& upload, std::string& name,
                                           std::string& fileName) const {
  name.clear();
  fileName.clear();
  std::string line;
  for (std::size_t i = 0; i < kMaxHeaderBytes; ++i) {
    const int byte = upload.input.Get();
    if (byte == InputWindow::kEnd) return false;
    if (byte == '\r') continue;
    if (byte != '\n') {
      line += static_cast<char>(byte);
      continue;
    }
    if (line.empty()) return true;
    ReadAttribute(line, kName, name);
    ReadAttribute(line, kFileName, fileName);
    line.clear();
  }
  return false;
}

bool RequestHandler::ParseUploadDataPart(Upload& upload, const std::string& boundary,
                                         UploadOutput& output, std::size_t limit,
                                         bool lineBreak) const {
  const std::string delimiter = (lineBreak ? "\r\n--" : "--") + boundary;
  PartCopier copier(delimiter, output, limit);
  for (;;) {
    const std::string_view block = upload.input.Ahead();
    if (block.empty()) return false;
    upload.input.Skip(copier.Copy(block));
    if (copier.IsComplete()) return true;
    if (copier.IsTooLong()) return false;
  }
}
