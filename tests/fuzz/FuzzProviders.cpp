// SPDX-License-Identifier: MIT
//
// Fuzz target: what providers say, while clients ask, act and set. Each line of the input is a
// step:
//
//   >a|b|#2;c;d   a message; "#" begins a table with so many columns, "@" is the id asked for last
//   =bytes        just these bytes
//   ?source key   a client needs the source's value for that key
//   !action value a client has the action carried out, with the parameter P
//   +key value    a setting is stored
//   *             everything stored is forgotten
//   .             the provider hangs up; the next message comes from a new one
#include <event2/event.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <deque>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Netstring.h"
#include "sysmgr/model/ModelReader.h"
#include "sysmgr/providers/Providers.h"
#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

constexpr std::size_t kMaxInputBytes = 4096;
constexpr std::size_t kMaxLineBytes = 16384;
constexpr int kForeverMilliseconds = 1000000;

constexpr const char* kModel = R"({"device": "d", "version": 1, "rules": [], "keys": [
  {"key": "V", "type": "integer", "access": "read", "source": "v", "minimum": 0, "maximum": 9},
  {"key": "F", "type": "text", "access": "read", "source": "f"},
  {"key": "T", "type": "table", "access": "read", "source": "t",
   "columns": [{"name": "A", "type": "text"}]},
  {"key": "Go", "type": "boolean", "access": "action", "action": "go", "refusals": ["No."]},
  {"key": "Go.P", "type": "text", "access": "parameter", "minimum": 0, "maximum": 9},
  {"key": "S.a", "type": "text", "access": "read-write", "minimum": 0, "maximum": 9, "default": ""},
  {"key": "S.b", "type": "text", "access": "read-write", "minimum": 0, "maximum": 9, "default": ""}
]})";

// What is made once, because it takes long.
struct Ground {
  TestFolder folder{"/dev/shm/vistel-fuzz"};
  Model model = ReadModel("fuzz", kModel);
  EventLoop loop;
  Listener listener{folder.Path("run/providers"), 0600};
  Storage storage{folder.Path("settings.db"), model};
  Settings settings{model, storage};
  Providers* providers = nullptr;

  Ground() {
    storage.RunWith([](const std::function<void()>& work, const std::function<void()>& done) {
      work();
      done();
    });
    settings.AddObserver([this](const Storage::Changes& changes, const std::string&) {
      providers->OnChange(Settings::NamesOf(changes));
    });
  }
};

class Session {
 public:
  explicit Session(Ground& ground) : ground_(ground) {
    ground.providers =
        &providers_.emplace(ProviderWorld{ground.loop, sources_, ground.settings, files_, log_,
                                          [] { return "1.0"; }, [] { return std::int64_t{0}; }},
                            ground.listener,
                            ProviderPatience{kForeverMilliseconds, kForeverMilliseconds,
                                             kForeverMilliseconds, kForeverMilliseconds});
  }

  void Step(const std::string& line) {
    const std::string rest = line.empty() ? "" : line.substr(1);
    std::string text = rest;
    switch (line.empty() ? '\0' : line[0]) {
      case '>':
        return Send(Message(rest));
      case '=':
        return Send(rest);
      case '?':
        return Ask(Next(text, ' '), text);
      case '!':
        return Act(Next(text, ' '), text);
      case '+':
        isStored_ = true;
        return ground_.settings.Store({{"S." + Next(text, ' ').substr(0, 1), text}},
                                      [](const Outcome&) {});
      case '*':
        return Forget();
      case '.':
        peer_ = Descriptor();
        return Run();
      default:
        return;
    }
  }

  void End() {
    providers_.reset();
    Check(sources_.Count() == 0, "nothing is offered by those who are gone");
    for (const int answers : answers_) Check(answers == 1, "everybody gets one answer");
    if (isStored_) ground_.settings.Reset([](const Outcome&) {});
    Run();
  }

 private:
  std::string Message(std::string line) const {
    std::string payload;
    bool isLast = false;
    while (!isLast) {
      isLast = line.find('|') == std::string::npos;
      std::string field = Next(line, '|');
      if (field == "@") field = id_;
      if (field.size() > 1 && field[0] == '#') {
        StringTable table(static_cast<unsigned>(field[1] & 7));
        std::string cells = field.substr(std::min<std::size_t>(field.size(), 3));
        while (!cells.empty() && table.Columns() > 0) {
          std::vector<std::string> row(table.Columns());
          for (std::string& cell : row) cell = Next(cells, ';');
          table.AddCells({row.begin(), row.end()});
        }
        field = table.Serialize();
      }
      Netstring::Append(payload, field);
    }
    std::string message;
    Netstring::Append(message, payload);
    return message;
  }

  void Connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ground_.listener.Path().copy(address.sun_path, sizeof address.sun_path - 1);
    peer_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    Check(connect(peer_.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
          "a provider can connect");
    received_.clear();
  }

  void Send(std::string bytes) {
    if (!peer_.IsOpen()) Connect();
    while (!bytes.empty()) {
      const ssize_t count = send(peer_.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) break;  // disconnected; the loop takes everything that it is sent
      bytes.erase(0, static_cast<std::size_t>(count));
      Run();
    }
    Run();
  }

  void Run() {
    for (int turn = 0; turn < 4; ++turn) event_base_loop(ground_.loop.Base(), EVLOOP_NONBLOCK);
    char buffer[65536];
    ssize_t count = 0;
    while (peer_.IsOpen() && (count = recv(peer_.Number(), buffer, sizeof buffer, 0)) > 0) {
      received_.append(buffer, static_cast<std::size_t>(count));
    }
    std::string_view rest = received_;
    for (std::string_view payload; Netstring::Take(rest, payload);) {
      std::vector<std::string> fields;
      for (std::string_view field; Netstring::Take(payload, field);) fields.emplace_back(field);
      Check(payload.empty() && !fields.empty(), "the service sends whole messages");
      if (fields[0] == "ask" || fields[0] == "act" || fields[0] == "settings") id_ = fields.at(1);
    }
    received_.erase(0, received_.size() - rest.size());
    if (count == 0) peer_ = Descriptor();
  }

  void Ask(const std::string& source, const std::string& text) {
    const Config::Key::Key key(text);
    const Question question{key, "client"};
    const ValueSource* const value = sources_.FindValue(source);
    const TableSource* const table = sources_.FindTable(source);
    if (!key.IsValid() || (value == nullptr && table == nullptr)) return;
    const std::size_t columns = table == nullptr ? 1 : table->columns.size();
    if (value != nullptr && value->value) static_cast<void>(value->value(question));
    if (table != nullptr && table->rows) CheckRows(table->rows(question), columns);
    const AskLater& ask = value != nullptr ? value->ask : table->ask;
    if (!ask) return;
    int& answers = answers_.emplace_back(0);
    ask(question, [&answers, columns, isValue = value != nullptr](const LiveAnswer& answer) {
      ++answers;
      Check((answer.rows != nullptr) == answer.outcome.IsSuccess(),
            "there is an answer or a reason");
      CheckRows(answer.rows, columns);
      Check(!isValue || answer.rows == nullptr || answer.rows->size() == 1, "a value is one cell");
    });
    Run();
  }

  static void CheckRows(const LiveRows& rows, std::size_t columns) {
    if (rows == nullptr) return;
    for (const LiveRow& row : *rows) Check(row.size() == columns, "rows have the offer's columns");
  }

  void Act(const std::string& name, const std::string& value) {
    const Action* const action = sources_.FindAction(name);
    if (action == nullptr) return;
    StringTable keys(1), values(1);
    keys.AddCells({"Go"});
    keys.AddCells({"Go.P"});
    values.AddCells({value});
    values.AddCells({"p"});
    int& answers = answers_.emplace_back(0);
    (*action)(ActionRequest(keys, values, "Go", "client"),
              [&answers](const Outcome&) { ++answers; });
    Run();
  }

  void Forget() {
    ground_.settings.Reset([](const Outcome&) {});
    providers_->OnReset();
    Run();
  }

  Ground& ground_;
  Sources sources_;
  HandoverFolder files_{ground_.folder.Path("run/files"), [] { return std::int64_t{0}; }};
  LocalClock clock_{[] { return "UTC"; }, [] { return std::int64_t{0}; }};
  EventLog log_{clock_};
  std::deque<int> answers_;  // how many each question got
  std::optional<Providers> providers_;
  Descriptor peer_;
  std::string received_;
  std::string id_;
  bool isStored_ = false;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Ground ground;
  if (size > kMaxInputBytes) return 0;
  std::string input(data, data + size);
  Session session(ground);
  while (!input.empty()) session.Step(Expand(Next(input, '\n'), kMaxLineBytes));
  session.End();
  return 0;
}
