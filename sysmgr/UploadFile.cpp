// SPDX-License-Identifier: MIT
//
// Looked at through the open descriptor, so that nothing can be exchanged in between.
#include "sysmgr/UploadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "sysmgr/Log.h"

UploadFile::Opened UploadFile::Open() const {
  // Opening a named pipe would wait for its writer.
  Descriptor file(open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (file.Number() < 0) {
    if (errno == ENOENT) return {std::move(file), 0, "No file has been uploaded."};
    Log::Write("upload file '" + path_ + "' can't be opened: " + std::strerror(errno));
    return {std::move(file), 0, "The uploaded file can not be read."};
  }
  struct stat status {};
  if (fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_uid != geteuid()) {
    Log::Write("upload file '" + path_ + "' is no regular file of the service's user");
    return {Descriptor(-1), 0, "The uploaded file can not be read."};
  }
  return {std::move(file), static_cast<std::size_t>(status.st_size), ""};
}

std::string UploadFile::Read(std::size_t maxBytes, std::string& content) const {
  content.clear();
  Opened opened = Open();
  if (!opened.problem.empty()) return opened.problem;
  if (opened.bytes > maxBytes) {
    return "The uploaded file has more than " + std::to_string(maxBytes) + " bytes.";
  }
  content.resize(opened.bytes);
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t count = read(opened.file.Number(), content.data() + done, content.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      // Cut while it was read: whoever writes it is not done.
      content.clear();
      return "The uploaded file can not be read.";
    }
    done += static_cast<std::size_t>(count);
  }
  return "";
}

void UploadFile::Delete() const {
  if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
    Log::Write("upload file '" + path_ + "' can't be removed: " + std::strerror(errno));
  }
}
