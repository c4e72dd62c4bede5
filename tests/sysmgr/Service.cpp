// SPDX-License-Identifier: MIT
#include "tests/sysmgr/Service.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <sstream>

#include "platform/Netstring.h"

namespace {

constexpr std::size_t kMaxAnswerBytes = std::size_t{17} << 20;
constexpr int kStartMilliseconds = 10000;

int ConnectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

std::string Describe(int status) {
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  return "exit " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Service::Service(const ServiceSetup& setup)
    : setup_(setup), folder_("/tmp/vistel-sysmgr"), socket_(folder_.Path() + "/run/socket") {
  if (!setup.model.empty()) folder_.Write("model.json", setup.model);
  if (!setup.authorisation.empty()) {
    const std::string path = folder_.Write("auth", setup.authorisation);
    chmod(path.c_str(), setup.authorisationMode);
  }
  Start();
}

Service::~Service() {
  if (IsRunning()) End(SIGTERM);
}

void Service::Start() {
  const std::string model =
      setup_.model.empty() ? VISTEL_TEST_MODEL : folder_.Path() + "/model.json";
  const std::string database =
      setup_.database.empty() ? folder_.Path() + "/settings.db" : setup_.database;
  const std::string authorisation = folder_.Path() + "/auth";
  const std::string files = folder_.Path() + "/files";
  const std::string upload = folder_.Path() + "/upload.bin";
  const std::string log = folder_.Path() + "/log";
  process_ = fork();
  if (process_ == 0) {
    const int descriptor = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(descriptor, STDERR_FILENO);
    if (setup_.maxFileBytes != 0) {
      const rlimit limit{setup_.maxFileBytes, setup_.maxFileBytes};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    execl(VISTEL_TEST_SYSMGRD, "sysmgrd", "--socket", socket_.c_str(), "--model", model.c_str(),
          "--database", database.c_str(), "--authorisation", authorisation.c_str(), "--files",
          files.c_str(), "--upload", upload.c_str(), "--seed", "7", static_cast<char*>(nullptr));
    _exit(127);
  }
  for (int waited = 0; waited < kStartMilliseconds; ++waited) {
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == process_) {
      ending_ = Describe(status);
      process_ = -1;
      return;
    }
    const int descriptor = ConnectTo(socket_);
    if (descriptor >= 0) {
      close(descriptor);
      return;
    }
    usleep(1000);
  }
  End(SIGKILL);
}

std::string Service::End(int signal) {
  if (!IsRunning()) return ending_;
  kill(process_, signal);
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  ending_ = Describe(status);
  return ending_;
}

std::string Service::Log() const {
  return ReadFile(folder_.Path() + "/log");
}

long Service::ResidentKilobytes() const {
  std::istringstream status(ReadFile("/proc/" + std::to_string(process_) + "/status"));
  std::string word;
  while (status >> word) {
    long kilobytes = 0;
    if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
  }
  return -1;
}

Client::Client(const std::string& socket) : descriptor_(ConnectTo(socket)) {}

Client::~Client() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool Client::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    pollfd ready{descriptor_, POLLOUT, 0};
    if (poll(&ready, 1, kWaitMilliseconds) != 1) return false;
    const ssize_t count =
        send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void Client::SendNoMore() {
  shutdown(descriptor_, SHUT_WR);
}

std::string Client::Receive(int waitMilliseconds) {
  for (;;) {
    const Netstring::Piece piece = Netstring::Read(input_, kMaxAnswerBytes);
    if (piece.status == Netstring::Status::kMalformed) return "malformed";
    if (piece.status == Netstring::Status::kWhole) {
      std::string payload(piece.bytes);
      input_.erase(0, piece.size);
      return payload;
    }
    pollfd ready{descriptor_, POLLIN, 0};
    if (poll(&ready, 1, waitMilliseconds) != 1) return "nothing";
    char buffer[65536];
    const ssize_t count = recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0) return "closed";
    input_.append(buffer, static_cast<std::size_t>(count));
  }
}

bool Client::IsClosed(int waitMilliseconds) {
  pollfd ready{descriptor_, POLLIN, 0};
  if (poll(&ready, 1, waitMilliseconds) != 1) return false;
  char byte = 0;
  return recv(descriptor_, &byte, 1, 0) <= 0;
}

std::string Message(const std::vector<std::string_view>& fields) {
  std::string payload;
  for (const std::string_view field : fields) Netstring::Append(payload, field);
  std::string message;
  Netstring::Append(message, payload);
  return message;
}

std::string QueryRequest(std::string_view query, std::string_view authorisation) {
  const std::string keys = StringTable(std::string(query), StringTable::kQueryText).Serialize();
  return Message({"query", "Test", authorisation, "tester", keys, "0"});
}

std::string SetRequest(const std::vector<std::pair<std::string, std::string>>& settings,
                       std::string_view authorisation) {
  StringTable keys(1);
  StringTable values(1);
  for (const auto& [key, value] : settings) {
    keys.AddCells({key});
    values.AddCells({value});
  }
  return Message({"set", "Test", authorisation, "tester", keys.Serialize(), values.Serialize()});
}

std::string Answer(int result, std::string_view reply) {
  std::string payload;
  Netstring::Append(payload, std::to_string(result));
  Netstring::Append(payload, reply);
  return payload;
}

std::string Ask(Client& client, const std::string& request) {
  if (!client.Send(request)) return "[not sent]";
  const std::string payload = client.Receive();
  std::string_view rest = payload;
  std::string_view result;
  std::string_view reply;
  if (!Netstring::Take(rest, result) || !Netstring::Take(rest, reply) || !rest.empty()) {
    return "[" + payload + "]";
  }
  if (result != "0") return "[" + std::string(result) + ": " + std::string(reply) + "]";
  return TableText(StringTable(std::string(reply), StringTable::kSerialized));
}
