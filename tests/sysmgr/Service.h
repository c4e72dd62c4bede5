// SPDX-License-Identifier: MIT
//
// A system manager of one test's own. It is asked through the client library, or by a client that
// speaks in raw bytes. The rule to know: whatever is waited for, is waited for with a limit, and
// the limit passing is a failure.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "platform/Netstring.h"
#include "platform/SvcMgrAdapter.h"
#include "platform/SysMgrProxy.h"
#include "sysmgr/Serve.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Asker.h"

// A hang is what this ends: a service with sanitizers on a busy machine takes its time.
constexpr int kWaitMilliseconds = 30000;

// Whether it becomes true before anybody loses patience.
template <typename IsTrue>
bool Eventually(IsTrue isTrue) {
  for (int waited = 0; waited < kWaitMilliseconds; ++waited) {
    if (isTrue()) return true;
    usleep(1000);
  }
  return false;
}

// "query|name|secret|client|key|0" as a message; "#" stands for the byte that begins a table.
inline std::string Frame(const std::string& fields) {
  std::string payload;
  for (std::string field : StringVector('|', fields)) {
    std::replace(field.begin(), field.end(), '#', '\x01');
    Netstring::Append(payload, field);
  }
  std::string message;
  Netstring::Append(message, payload);
  return message;
}

class Client {
 public:
  explicit Client(const std::string& socketPath)
      : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    isConnected_ = connect(descriptor_.Number(), reinterpret_cast<const sockaddr*>(&address),
                           sizeof address) == 0;
  }

  bool IsConnected() const { return isConnected_; }

  // False when the service took not all of it.
  bool Send(std::string_view bytes) {
    while (!bytes.empty()) {
      if (!Wait(POLLOUT)) return false;
      const ssize_t count =
          send(descriptor_.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  void SendNoMore() { shutdown(descriptor_.Number(), SHUT_WR); }

  // The payload of the next message; "closed", "malformed" or "nothing" when there is none.
  std::string Receive() {
    for (;;) {
      const Netstring::Piece piece = Netstring::Read(input_, SysMgrProxy::kMaxAnswerBytes);
      if (piece.status == Netstring::Status::kMalformed) return "malformed";
      if (piece.status == Netstring::Status::kWhole) {
        std::string payload(piece.bytes);
        input_.erase(0, piece.size);
        return payload;
      }
      if (!Wait(POLLIN)) return "nothing";
      char buffer[65536];
      const ssize_t count = recv(descriptor_.Number(), buffer, sizeof buffer, 0);
      if (count <= 0) return "closed";
      input_.append(buffer, static_cast<std::size_t>(count));
    }
  }

  // Whether the service has closed the connection.
  bool IsClosed() const {
    char byte = 0;
    const ssize_t count = recv(descriptor_.Number(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN);
  }

  // Its bytes, or "[result: why not]"; what came instead of an answer.
  std::string Ask(std::string_view bytes) {
    const std::string payload = Send(bytes) ? Receive() : "not sent";
    std::string_view rest = payload;
    std::string_view result;
    std::string_view reply;
    if (!Netstring::Take(rest, result) || !Netstring::Take(rest, reply)) return payload;
    if (result == "0") return std::string(reply);
    return "[" + std::string(result) + ": " + std::string(reply) + "]";
  }

 private:
  bool Wait(short event) const {
    pollfd ready{descriptor_.Number(), event, 0};
    return poll(&ready, 1, kWaitMilliseconds) == 1;
  }

  Descriptor descriptor_;
  bool isConnected_;
  std::string input_;
};

struct ServiceSetup {
  std::string model = "";  // text of the model; "" for the one of the product
  std::string secret = "";
  unsigned secretMode = 0640;
  std::string database = "";      // path; "" for one in the service's folder
  std::string runner = "exec";    // in front of the program in a shell's command
  std::optional<Pace> pace = {};  // given: the program's parts, in a process without its main
};

class Service : public TestFolder, public Asker {
 public:
  explicit Service(const ServiceSetup& setup = ServiceSetup())
      : TestFolder("/tmp/vistel-sysmgr"),
        setup_(setup),
        proxy_("Test", adapter_, Path("auth"), Socket(), kWaitMilliseconds) {
    if (!setup.model.empty()) Write("model.json", setup.model);
    if (!setup.secret.empty()) chmod(Write("auth", setup.secret).c_str(), setup.secretMode);
    Start();
  }
  ~Service() override { End(SIGTERM); }

  // Waits until it listens or has ended.
  void Start() {
    process_ = fork();
    if (process_ == 0) Run();
    const bool isDone = Eventually([this] {
      int status = 0;
      if (waitpid(process_, &status, WNOHANG) != process_) return Client(Socket()).IsConnected();
      SetEnd(status);
      return true;
    });
    if (!isDone) End(SIGKILL);
  }
  void Start(const Pace& pace) {
    setup_.pace = pace;
    Start();
  }
  bool IsRunning() const { return process_ > 0; }
  pid_t Process() const { return process_; }

  // Sends the signal and waits for the end: "exit 0", "signal 9".
  std::string End(int signal) {
    int status = 0;
    if (IsRunning() && kill(process_, signal) == 0 && waitpid(process_, &status, 0) == process_) {
      SetEnd(status);
    }
    return end_;
  }

  std::string Socket() const { return Path("run/socket"); }
  long ResidentKilobytes() const {
    const std::string status = ReadFile("/proc/" + std::to_string(process_) + "/status");
    return std::stol(status.substr(status.find("VmRSS:") + 6));
  }
  // What it wrote to its log so far, over all its starts.
  std::string Log() const { return ReadFile(Path("log")); }

 private:
  [[noreturn]] void Run() const {
    Options options;
    options.socket = Socket();
    options.model = setup_.model.empty() ? VISTEL_TEST_MODEL : Path("model.json");
    options.database = setup_.database.empty() ? Path("settings.db") : setup_.database;
    options.authorisation = Path("auth");
    options.files = Path("files");
    options.upload = Path("upload.bin");
    if (setup_.pace && std::freopen(Path("log").c_str(), "a", stderr) != nullptr) {
      Serve(options, *setup_.pace);
      _exit(0);
    }
    const std::string command = setup_.runner + " '" VISTEL_TEST_SYSMGRD "' --socket " +
                                options.socket + " --model '" + options.model + "' --database " +
                                options.database + " --authorisation " + options.authorisation +
                                " --files " + options.files + " --upload " + options.upload +
                                " --seed 7 2>>" + Path("log");
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }

  void SetEnd(int status) {
    process_ = -1;
    end_ = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit " + std::to_string(WEXITSTATUS(status));
  }

  std::string Query(const StringTable& keys) override {
    std::string reply;
    const int result = proxy_.sQueryKey("tester", keys.Serialize(), "0", reply);
    return Answer(result, reply);
  }
  std::string Store(const StringTable& keys, const StringTable& values) override {
    std::string reply;
    const int result = proxy_.sSetKey("tester", keys.Serialize(), values.Serialize(), reply);
    return Answer(result, reply);
  }
  std::string Answer(int result, const std::string& reply) const {
    if (result != 0) return "[" + std::to_string(result) + ": " + proxy_.LastMessage() + "]";
    return TableText(StringTable(reply, StringTable::kSerialized));
  }

  ServiceSetup setup_;
  std::string end_;
  pid_t process_ = -1;
  SvcMgrAdapter adapter_;
  SysMgrProxy proxy_;
};

// Kills the service at a random moment of the work, which ends when the service does, and starts it
// again, as often as VISTEL_TEST_KILLS says; then looks what is left.
template <typename Work, typename Look>
void KillAtAnyMoment(Service& service, Work work, Look look) {
  const char* const wanted = std::getenv("VISTEL_TEST_KILLS");
  std::mt19937 random(20261122);
  for (int kills = wanted == nullptr ? 10 : std::atoi(wanted); kills > 0; --kills) {
    ASSERT_TRUE(service.IsRunning()) << service.Log();
    std::thread killer([&service, delay = random() % 30000] {
      usleep(static_cast<useconds_t>(delay));
      kill(service.Process(), SIGKILL);
    });
    work();
    killer.join();
    EXPECT_EQ(service.End(SIGKILL), "signal 9");
    service.Start();
    look();
  }
}
