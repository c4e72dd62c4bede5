// SPDX-License-Identifier: MIT
#include "main/ConfigurationDownload.h"

#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <string>

#include "base/RegularFile.h"
#include "base/Response.h"
#include "base/Transfer.h"
#include "platform/StringTable.h"
#include "platform/StringVector.h"
#include "query/SysMgr.h"
#include "request/RequestHandler.h"
#include "values/WGLVariables.h"

namespace {

// The file's name and the closing quote follow it.
constexpr char kDisposition[] = "attachment; filename=\"";

constexpr std::size_t kBlockBytes = 16384;

std::string QueryString(const char* key) {
  return SysMgr_QueryString(StringTable(key, kQueryText));
}

// Returns whether the whole file was written.
bool CopyToOutput(const Descriptor& file) {
  char block[kBlockBytes];
  for (;;) {
    const ssize_t count = ReadSome(file.Number(), block, sizeof block);
    if (count <= 0) return count == 0 && std::fflush(stdout) == 0;
    const auto size = static_cast<std::size_t>(count);
    if (std::fwrite(block, 1, size, stdout) != size) return false;
  }
}

// `kind` is the name of the file in the log.
void DeliverFile(const char* key, const char* kind, const char* contentType) {
  const std::string path = QueryString(key);
  syslog(LOG_INFO, "got %s file '%s'", kind, path.c_str());
  const OpenedFile file = OpenRegularFile(path);
  if (!file.descriptor.IsOpen()) return;
  const StringVector names('/', path);
  const std::string name = names.empty() ? std::string() : names.back();
  // A client that disconnects must not end the program before it has removed the file, which may
  // hold secrets.
  std::signal(SIGPIPE, SIG_IGN);
  RequestHandler::WriteHeaders(contentType, kDisposition + name + '"');
  const bool delivered = Response::IsWhole() && CopyToOutput(file.descriptor);
  unlink(path.c_str());
  if (delivered) {
    syslog(LOG_INFO, "and delivered");
  } else {
    Response::Lose();
  }
}

// The disposition holds its prefix twice on purpose: this download's header is fixed to the byte.
void DeliverText() {
  const std::string name =
      SysMgr_Query(StringTable("System.ProductName", kQueryText)).Serialize() + ".xml";
  RequestHandler::WriteHeaders("text/xml", std::string(kDisposition) + kDisposition + name + '"');
  const std::string text = QueryString("System.ConfigShow");
  if (Response::IsWhole()) std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

void DeliverConfiguration(const WGLVariables& variables) {
  const std::string type = variables.Get("_type", "");
  if (type == "ac") DeliverFile("System.AutoConfigShow", "auto config", "text/xml");
  if (type == "xml") DeliverText();
  if (type == "cfg") DeliverFile("System.ConfigShowCrypt", "config", "application/unknown");
}
