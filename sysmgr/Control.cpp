// SPDX-License-Identifier: MIT
//
// sysmgrctl: uses the system manager from a terminal, with the client library. It shows texts from
// the network without control characters and malformed UTF-8, so that no station's name can control
// the terminal.
#include <poll.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/Utf8.h"
#include "platform/StringTable.h"
#include "platform/SvcMgrAdapter.h"
#include "platform/SysMgrProxy.h"

namespace {

constexpr const char* kServiceName = "sysmgrctl";
constexpr const char* kQueryOption = "0";
constexpr timespec kWatchPause = {1, 0};

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

constexpr const char* kHelp =
    "Usage: sysmgrctl [--socket PATH] [--authorisation FILE] COMMAND\n"
    "\n"
    "  get KEY ...          show values; several keys stand side by side\n"
    "  set KEY=VALUE ...    change settings, all of them or none; or have an action done, with\n"
    "                       its parameters\n"
    "  cat KEY              write a single value as it is, a text of many lines for example\n"
    "  watch KEY ...        show values whenever they change, until interrupted\n"
    "  --help, --version\n"
    "\n"
    "Cells of a row stand with tabs between them. Values on a command line can be seen by other\n"
    "users of the device: VALUE - is read from standard input, up to the end of its first line.\n"
    "\n"
    "Exit status: 0 done, 1 refused or not reached, 2 wrong usage.\n";

volatile std::sig_atomic_t gInterrupted = 0;

void OnInterrupt(int) {
  gInterrupted = 1;
}

// Doesn't check for errors, which are checked once, at the end.
void Write(const std::string& text, std::FILE* stream) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
}

std::string Print(const StringTable& table) {
  std::string text;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      if (column > 0) text += '\t';
      Utf8::AppendSafe(text, table.View(row, column));
    }
    text += '\n';
  }
  return text;
}

int Complain(std::string_view what) {
  std::string text = "sysmgrctl: ";
  Utf8::AppendSafe(text, what);
  Write(text += '\n', stderr);
  return kExitRefused;
}

int Usage() {
  Write(kHelp, stderr);
  return kExitUsage;
}

bool Query(SysMgrProxy& proxy, const std::string& query, std::string& reply) {
  if (proxy.sQueryKey(kServiceName, query, kQueryOption, reply) != SysMgrProxy::kOk) {
    const std::string& message = proxy.LastMessage();
    Complain(message.empty() ? "the system manager gives no answer" : message);
    return false;
  }
  return true;
}

bool QueryText(SysMgrProxy& proxy, const std::string& query, std::string& text) {
  std::string reply;
  if (!Query(proxy, query, reply)) return false;
  text = Print(StringTable(std::move(reply), StringTable::kSerialized));
  return true;
}

std::string QueryOf(const std::vector<std::string_view>& keys) {
  std::string text;
  for (const std::string_view key : keys) text.append(key) += ';';
  return StringTable(std::move(text), StringTable::kQueryText).Serialize();
}

int Get(SysMgrProxy& proxy, const std::vector<std::string_view>& keys) {
  std::string text;
  if (!QueryText(proxy, QueryOf(keys), text)) return kExitRefused;
  Write(text, stdout);
  return std::fflush(stdout) == 0 ? 0 : kExitRefused;
}

int Cat(SysMgrProxy& proxy, const std::vector<std::string_view>& keys) {
  if (keys.size() != 1) return Usage();
  std::string reply;
  if (!Query(proxy, QueryOf(keys), reply)) return kExitRefused;
  const StringTable table(std::move(reply), StringTable::kSerialized);
  if (table.Rows() != 1 || table.Columns() != 1) return Complain("this is not a single value");
  Write(table.Get(0, 0), stdout);
  return std::fflush(stdout) == 0 ? 0 : kExitRefused;
}

int Watch(SysMgrProxy& proxy, const std::vector<std::string_view>& keys) {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  sigaddset(&blocked, SIGTERM);
  const std::string query = QueryOf(keys);
  std::string last;
  bool first = true;
  for (;;) {
    std::string text;
    if (!QueryText(proxy, query, text)) return kExitRefused;
    if (first || text != last) {
      Write(text, stdout);
      if (std::fflush(stdout) != 0) return kExitRefused;
    }
    first = false;
    last = std::move(text);
    // Signals are blocked between the check and the pause, so that the pause can't miss one.
    sigset_t open;
    sigprocmask(SIG_BLOCK, &blocked, &open);
    if (gInterrupted == 0) ppoll(nullptr, 0, &kWatchPause, &open);
    sigprocmask(SIG_SETMASK, &open, nullptr);
    if (gInterrupted != 0) return 0;
  }
}

std::string ReadLine() {
  std::string line;
  int byte = 0;
  while ((byte = std::getchar()) != EOF && byte != '\n') line += static_cast<char>(byte);
  return line;
}

int Set(SysMgrProxy& proxy, const std::vector<std::string_view>& settings) {
  StringTable keys(1);
  StringTable values(1);
  for (const std::string_view setting : settings) {
    const std::size_t equals = setting.find('=');
    if (equals == 0 || equals == std::string_view::npos) return Usage();
    keys.AddCells({setting.substr(0, equals)});
    const std::string_view value = setting.substr(equals + 1);
    if (value == "-") {
      values.AddCells({ReadLine()});
    } else {
      values.AddCells({value});
    }
  }
  std::string reply;
  const int result = proxy.sSetKey(kServiceName, keys.Serialize(), values.Serialize(), reply);
  const StringTable answer(std::move(reply), StringTable::kSerialized);
  int status = result == SysMgrProxy::kOk ? 0 : kExitRefused;
  if (status != 0 && !proxy.LastMessage().empty()) Complain(proxy.LastMessage());
  for (unsigned row = 0; row < answer.Rows(); ++row) {
    if (answer.View(row, 0).empty()) continue;
    std::string text = row < keys.Rows() ? keys.Get(row, 0) + ": " : std::string();
    status = Complain(text.append(answer.View(row, 0)));
  }
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  std::string socketPath = VISTEL_SYSMGR_SOCKET;
  std::string authorisation = VISTEL_AUTHORISATION_FILE;
  int at = 1;
  for (; at < count && std::strncmp(arguments[at], "--", 2) == 0; ++at) {
    const std::string_view option = arguments[at];
    if (option == "--help") return std::fputs(kHelp, stdout) < 0 ? kExitRefused : 0;
    if (option == "--version") return std::puts("sysmgrctl " VISTEL_VERSION) < 0 ? kExitRefused : 0;
    if (at + 1 == count) return Usage();
    if (option == "--socket") {
      socketPath = arguments[++at];
    } else if (option == "--authorisation") {
      authorisation = arguments[++at];
    } else {
      return Usage();
    }
  }
  if (count - at < 2) return Usage();
  const std::string_view command = arguments[at];
  const std::vector<std::string_view> rest(arguments + at + 1, arguments + count);
  SvcMgrAdapter adapter;
  SysMgrProxy proxy(kServiceName, adapter, authorisation, socketPath);
  if (command == "get") return Get(proxy, rest);
  if (command == "cat") return Cat(proxy, rest);
  if (command == "set") return Set(proxy, rest);
  if (command == "watch") return Watch(proxy, rest);
  return Usage();
}
