// SPDX-License-Identifier: MIT
//
// sysmgrctl: uses the system manager from a terminal, with the client library. It shows texts from
// the network without control characters and malformed UTF-8, so that no station's name can control
// the terminal.
#include "sysmgr/Control.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/Utf8.h"
#include "platform/StringTable.h"
#include "platform/SvcMgrAdapter.h"
#include "platform/SysMgrProxy.h"
#include "sysmgr/ControlProvider.h"
#include "sysmgr/password/DevicePassword.h"

namespace {

constexpr const char* kServiceName = "sysmgrctl";
constexpr const char* kQueryOption = "0";

// How often a provided value is made anew, unless told.
constexpr int kProvideSeconds = 60;

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

constexpr const char* kHelp =
    "Usage: sysmgrctl [--socket PATH] [--providers PATH] [--authorisation FILE]\n"
    "                 [--password FILE] COMMAND\n"
    "\n"
    "  get KEY ...          show values; several keys stand side by side\n"
    "  set KEY=VALUE ...    change settings, all of them or none; or have an action done, with\n"
    "                       its parameters\n"
    "  keys [PREFIX]        list the keys, or those that are PREFIX or below it: name, type, "
    "access,\n"
    "                       limits, and what each is\n"
    "  cat KEY              write a single value as it is, a text of many lines for example\n"
    "  provide NAME [--every SECONDS] -- COMMAND ...\n"
    "                       be the source NAME: push what COMMAND prints, every 60 seconds or so\n"
    "  watch PREFIX -- COMMAND ...\n"
    "                       run COMMAND for each changed batch of settings, which it reads as "
    "lines\n"
    "                       key=value; first with all whose keys are PREFIX or below it\n"
    "  password --new       give the device a new password, and print it: for a label, or when "
    "the\n"
    "                       old one is forgotten. Works without the system manager.\n"
    "  --help, --version\n"
    "\n"
    "Cells of a row stand with tabs between them. Values on a command line can be seen by other\n"
    "users of the device: set KEY without = reads the value from standard input, one line.\n"
    "\n"
    "Exit status: 0 done, 1 refused or not reached, 2 wrong usage.\n";

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

// The keys that are `prefix` or below it.
int ListKeys(SysMgrProxy& proxy, const std::vector<std::string_view>& prefixes) {
  if (prefixes.size() > 1) return Usage();
  const std::string prefix(prefixes.empty() ? "" : prefixes[0]);
  std::string reply;
  if (!Query(proxy, "Model.Keys", reply)) return kExitRefused;
  const StringTable all(std::move(reply), StringTable::kSerialized);
  StringTable table(all.Columns());
  for (unsigned row = 0; row < all.Rows(); ++row) {
    std::vector<std::string_view> cells;
    for (unsigned column = 0; column < all.Columns(); ++column)
      cells.push_back(all.View(row, column));
    const std::string name(cells[0]);
    const bool isBelow = name.compare(0, prefix.size() + 1, prefix + ".") == 0;
    if (prefix.empty() || name == prefix || isBelow) table.AddCells(cells);
  }
  Write(Print(table), stdout);
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
    if (equals == 0) return Usage();
    keys.AddCells({setting.substr(0, equals)});
    if (equals == std::string_view::npos) {
      values.AddCells({ReadLine()});
    } else {
      values.AddCells({setting.substr(equals + 1)});
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

// What is after "--": a command; empty where there is none.
std::vector<std::string> CommandOf(const std::vector<std::string_view>& words) {
  const auto dashes = std::find(words.begin(), words.end(), "--");
  return dashes == words.end() ? std::vector<std::string>()
                               : std::vector<std::string>(dashes + 1, words.end());
}

int RunProvider(const std::string& socketPath, const std::vector<std::string_view>& words) {
  const std::vector<std::string> command = CommandOf(words);
  const std::size_t own = words.size() - command.size() - 1;
  int every = kProvideSeconds;
  if (command.empty() || (own != 1 && (own != 3 || words[1] != "--every"))) return Usage();
  if (own == 3) every = std::atoi(std::string(words[2]).c_str());
  if (every < 1) return Usage();
  return Complain(Provide(socketPath, std::string(words[0]), every, command));
}

int RunWatch(const std::string& socketPath, const std::vector<std::string_view>& words) {
  const std::vector<std::string> command = CommandOf(words);
  if (command.empty() || words.size() != command.size() + 2) return Usage();
  return Complain(WatchSettings(socketPath, std::string(words[0]), command));
}

int NewPassword(const std::string& file, const std::vector<std::string_view>& words) {
  if (words.size() != 1 || words[0] != "--new") return Usage();
  const std::string password = DevicePassword::Make();
  const Outcome outcome = DevicePassword::Store(file, password);
  if (!outcome.IsSuccess()) return Complain("'" + file + "': " + outcome.Text());
  return std::puts(password.c_str()) < 0 || std::fflush(stdout) != 0 ? kExitRefused : 0;
}

}  // namespace

int ControlMain(int count, char** arguments) {
  std::string socketPath = VISTEL_SYSMGR_SOCKET;
  std::string providers = VISTEL_SYSMGR_PROVIDERS;
  std::string authorisation = VISTEL_AUTHORISATION_FILE;
  std::string password = VISTEL_PASSWORD_FILE;
  int at = 1;
  for (; at < count && std::strncmp(arguments[at], "--", 2) == 0; ++at) {
    const std::string_view option = arguments[at];
    if (option == "--help") return std::fputs(kHelp, stdout) < 0 ? kExitRefused : 0;
    if (option == "--version") return std::puts("sysmgrctl " VISTEL_VERSION) < 0 ? kExitRefused : 0;
    if (at + 1 == count) return Usage();
    if (option == "--socket") {
      socketPath = arguments[++at];
    } else if (option == "--providers") {
      providers = arguments[++at];
    } else if (option == "--authorisation") {
      authorisation = arguments[++at];
    } else if (option == "--password") {
      password = arguments[++at];
    } else {
      return Usage();
    }
  }
  const std::string_view command = at < count ? arguments[at] : "";
  if (count - at < (command == "keys" ? 1 : 2)) return Usage();
  const std::vector<std::string_view> rest(arguments + at + 1, arguments + count);
  if (command == "password") return NewPassword(password, rest);
  SvcMgrAdapter adapter;
  SysMgrProxy proxy(kServiceName, adapter, authorisation, socketPath);
  if (command == "get") return Get(proxy, rest);
  if (command == "keys") return ListKeys(proxy, rest);
  if (command == "cat") return Cat(proxy, rest);
  if (command == "set") return Set(proxy, rest);
  if (command == "provide") return RunProvider(providers, rest);
  if (command == "watch") return RunWatch(providers, rest);
  return Usage();
}
