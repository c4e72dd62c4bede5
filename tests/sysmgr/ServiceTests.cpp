// SPDX-License-Identifier: MIT
//
// The service from outside: who may speak to it, what it makes of bytes that are no request, and
// what one client can cost another.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include "sysmgr/log/Log.h"
#include "tests/sysmgr/Service.h"

namespace {

using Clock = std::chrono::steady_clock;

const char kProduct[] = "Vistel Powerline Adapter";

// A path as one word of a command.
std::string Quoted(const std::string& path) {
  return "'" + path + "'";
}

int RunProgram(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Service, StartsAndEnds) {
  Service service;
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  struct stat status {};
  ASSERT_EQ(stat((service.Folder() + "/run").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0750U);
  ASSERT_EQ(stat(service.Socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0660U);
  Client client(service.Socket());
  EXPECT_EQ(Ask(client, QueryRequest("System.ProductName")), kProduct);
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  EXPECT_NE(stat(service.Socket().c_str(), &status), 0);
  // One that was killed leaves its socket behind; the next one takes it over.
  service.Start();
  EXPECT_EQ(service.End(SIGKILL), "signal 9");
  ASSERT_EQ(stat(service.Socket().c_str(), &status), 0);
  service.Start();
  EXPECT_TRUE(service.IsRunning()) << service.Log();
}

TEST(Service, RefusesToStart) {
  const struct {
    const char* what;
    ServiceSetup setup;
    const char* record;
  } kCases[] = {
      {"a faulty model", {"{", "", 0640, "", 0}, "line 1: syntax error"},
      {"a secret for everybody",
       {"", "secret\n", 0644, "", 0},
       "is too open; its mode must be 0640 or less"},
      {"a secret that its group may change", {"", "secret\n", 0660, "", 0}, "is too open"},
      {"an empty secret", {"", "\n", 0600, "", 0}, "is empty"},
      {"no folder for the database", {"", "", 0600, "/nowhere/s.db", 0}, "can't be opened"},
  };
  for (const auto& test : kCases) {
    Service service(test.setup);
    EXPECT_FALSE(service.IsRunning()) << test.what;
    EXPECT_EQ(service.End(SIGTERM), "exit 1") << test.what;
    const std::string log = service.Log();
    EXPECT_NE(log.find(test.record), std::string::npos) << log;
    EXPECT_EQ(log.find('\n'), log.size() - 1) << log;
    EXPECT_EQ(log.find("secret\n"), std::string::npos);
  }
  Service first;
  const std::string program = Quoted(VISTEL_TEST_SYSMGRD);
  EXPECT_EQ(RunProgram(program + " --socket " + first.Socket() + " --database " + first.Folder() +
                       "/other.db --model " + Quoted(VISTEL_TEST_MODEL) + " 2>/dev/null"),
            1);
  EXPECT_EQ(first.End(SIGTERM), "exit 0");
  for (const mode_t mode : {0755U, 0770U}) {
    chmod((first.Folder() + "/run").c_str(), mode);
    first.Start();
    EXPECT_FALSE(first.IsRunning()) << mode;
  }
}

TEST(Service, CommandLine) {
  const std::string program = Quoted(VISTEL_TEST_SYSMGRD);
  EXPECT_EQ(RunProgram(program + " --help >/dev/null"), 0);
  EXPECT_EQ(RunProgram(program + " --version | grep -Eqx 'sysmgrd [0-9.]+'"), 0);
  EXPECT_EQ(RunProgram(program + " --check-model --model " + Quoted(VISTEL_TEST_MODEL)), 0);
  EXPECT_EQ(RunProgram(program + " --check-model --model /dev/null 2>/dev/null"), 1);
  EXPECT_EQ(RunProgram(program + " --seed x 2>/dev/null"), 2);
  EXPECT_EQ(RunProgram(program + " extra 2>/dev/null"), 2);
}

TEST(Service, ControlProgram) {
  const Service service(ServiceSetup{"", "secret\n", 0640, "", 0});
  const std::string control = Quoted(VISTEL_TEST_SYSMGRCTL) + " --socket " + service.Socket() +
                              " --authorisation " + service.Folder() + "/auth ";
  EXPECT_EQ(RunProgram(control + "set 'System.DeviceName=a=b' System.Led=0"), 0);
  EXPECT_EQ(RunProgram(control + "get System.DeviceName System.Led | grep -qx 'a=b\t0'"), 0);
  EXPECT_EQ(RunProgram(control + "set System.Led=2 2>&1 | grep -qx 'sysmgrctl: System.Led: Choose "
                                 "0 or 1.'"),
            0);
  EXPECT_EQ(RunProgram(control + "get Foo 2>/dev/null"), 1);
  EXPECT_EQ(RunProgram(control + "cat System.Led System.Led 2>/dev/null"), 2);
  // What is out comes back in.
  EXPECT_EQ(RunProgram(control + "cat System.ConfigShow >" + service.Folder() + "/upload.bin"), 0);
  EXPECT_EQ(
      RunProgram(control + "set System.Led=1 && " + control + "set System.ConfigRestore=apply"), 0);
  EXPECT_EQ(RunProgram(control + "get System.DeviceName System.Led | grep -qx 'a=b\t0'"), 0);
  EXPECT_EQ(RunProgram("echo long enough | " + control + "set HomePlug.NetworkPassword=-"), 0);
  EXPECT_EQ(RunProgram("timeout 1.5 " + control +
                       "watch System.Uptime System.DeviceName | grep -q 'a=b'"),
            0);
  EXPECT_EQ(
      RunProgram(control + "watch System.DeviceName >/dev/null & sleep 0.4; kill $!; wait $!"), 0);
  // Whether a terminal would obey it is nothing a key's name may decide.
  EXPECT_EQ(
      RunProgram(control +
                 "get \"$(printf 'a\\302\\233\\377\\033\\303\\244')\" 2>&1 | grep -qF \"$(printf "
                 "\"key 'a': The key is malformed.\")\""),
      0);
  EXPECT_EQ(RunProgram(control + "2>/dev/null"), 2);
  EXPECT_EQ(service.Log().find("long enough"), std::string::npos);
}

TEST(Service, Authorisation) {
  const Service service(ServiceSetup{"", "the secret\n", 0640, "", 0});
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client client(service.Socket());
  const std::string kWrong = "[2: The authorisation is wrong.]";
  for (const char* shown :
       {"", "the secre", "the secret\n", "the secrets", "The secret", "the secretthe secret"}) {
    EXPECT_EQ(Ask(client, QueryRequest("System.ProductName", shown)), kWrong) << shown;
    EXPECT_EQ(Ask(client, SetRequest({{"System.Led", "0"}}, shown)), kWrong) << shown;
  }
  EXPECT_EQ(Ask(client, QueryRequest("System.ProductName;System.Led", "the secret")),
            std::string(kProduct) + "|1");
  EXPECT_EQ(service.Log().find("secret"), std::string::npos);
  const Service open;
  Client guest(open.Socket());
  EXPECT_EQ(Ask(guest, QueryRequest("System.ProductName", "anything")), kWrong);
}

TEST(Service, RequestsThatMakeNoSense) {
  const Service service;
  Client client(service.Socket());
  const std::string kNotUnderstood = "[3: The request is not understood.]";
  const std::string kNoQuery = "[1: A query is a table of one column with a row for each key.]";
  const std::string kNoSet =
      "[1: A set is two tables of one column with as many keys as values, 1 to 4096.]";
  const struct {
    std::vector<std::string_view> fields;
    std::string answer;
  } kCases[] = {
      {{}, kNotUnderstood},
      {{"query"}, kNotUnderstood},
      {{"quarry", "s", "", "c", "System.Led", "0"}, kNotUnderstood},
      {{"query", "s", "", "c", "System.Led"}, kNotUnderstood},
      {{"query", "s", "", "c", "System.Led", "0", "more"}, kNotUnderstood},
      {{"query", "s", "", "c", "", "0"}, "[1: The key is malformed.]"},
      {{"query", "s", "", "c",
        "\x01"
        "1:4294967295:",
        "0"},
       kNoQuery},
      {{"query", "s", "", "c",
        "\x01"
        "4294967296:1:1:a,",
        "0"},
       kNoQuery},
      {{"query", "s", "", "c",
        "\x01"
        "1:1:99999999999999999999:a,",
        "0"},
       kNoQuery},
      {{"query", "s", "", "c",
        "\x01"
        "2:1:1:a,1:b,",
        "0"},
       kNoQuery},
      {{"set", "s", "", "c", "System.Led",
        "\x01"
        "1:2:1:0,1:1,"},
       kNoSet},
      {{"set", "s", "", "c",
        "\x01"
        "1:0:",
        "\x01"
        "1:0:"},
       kNoSet},
      {{"set", "s", "", "c", "System.Led",
        "\x01"
        "1:1:9:0,"},
       kNoSet},
      {{"query", "", "", "", "System.Led", ""}, "1"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Ask(client, Message(test.fields)), test.answer)
        << (test.fields.size() > 4 ? test.fields[4] : "");
  }
}

// Whatever a client sends, the next one is served.
TEST(Service, EveryPrefixAndEveryChangedByte) {
  const Service service;
  const std::string request = QueryRequest("System.ProductName;System.Led");
  const std::string expected = std::string(kProduct) + "|1";
  for (std::size_t size = 0; size < request.size(); ++size) {
    Client client(service.Socket());
    ASSERT_TRUE(client.Send(std::string_view(request).substr(0, size)));
    client.SendNoMore();
    EXPECT_TRUE(client.IsClosed()) << size;
  }
  for (std::size_t at = 0; at < request.size(); ++at) {
    for (const int change : {1, 2, 4, 8, 16, 32, 64, 128}) {
      std::string changed = request;
      changed[at] = static_cast<char>(changed[at] ^ change);
      Client client(service.Socket());
      client.Send(changed);
      client.SendNoMore();
      const std::string payload = client.Receive();
      // An answer, or an end: never silence, never half an answer.
      EXPECT_NE(payload, "nothing") << at;
      EXPECT_NE(payload, "malformed") << at;
    }
  }
  Client client(service.Socket());
  EXPECT_EQ(Ask(client, request), expected);
}

TEST(Service, LyingLengths) {
  const Service service;
  for (const char* bytes : {"x", ":", ",", "-1:", "01:a,", "1048577:", "4294967296:",
                            "18446744073709551616:", "1:ab", "3:1:a.,", "5:1:a,,,", "6:9:abc,,"}) {
    Client client(service.Socket());
    client.Send(bytes);
    EXPECT_TRUE(client.IsClosed(2000)) << bytes;
  }
  Client digits(service.Socket());
  digits.Send(std::string(100, '9'));
  EXPECT_TRUE(digits.IsClosed(2000));
  // The largest request there is, refused for what it says and not for its size.
  const std::string key(1048576 - 200, 'x');
  Client large(service.Socket());
  const std::string answer = Ask(large, QueryRequest(key));
  EXPECT_EQ(answer.substr(0, 10), "[1: key 'x");
  EXPECT_EQ(Ask(large, QueryRequest("System.Led")), "1");
}

TEST(Service, ByteByByteAndAllAtOnce) {
  const Service service;
  Client slow(service.Socket());
  for (const char byte : QueryRequest("System.ProductName")) {
    ASSERT_TRUE(slow.Send(std::string_view(&byte, 1)));
    usleep(100);
  }
  EXPECT_EQ(slow.Receive(), Answer(0, kProduct));

  // More requests than one turn answers, with different answers, in order.
  Client many(service.Socket());
  std::string requests;
  constexpr int kRequests = 1000;
  for (int i = 0; i < kRequests; ++i) {
    requests += QueryRequest(i % 2 == 0 ? "System.ProductName" : "System.Led");
  }
  ASSERT_TRUE(many.Send(requests));
  many.SendNoMore();
  for (int i = 0; i < kRequests; ++i) {
    ASSERT_EQ(many.Receive(), Answer(0, i % 2 == 0 ? kProduct : "1")) << i;
  }
  EXPECT_EQ(many.Receive(), "closed");
}

// Clients that stop in the middle or don't read: the others are served at once, they themselves
// are disconnected when their time is over.
// Settings that make large answers: "a" has 65536 bytes, "b" none yet.
ServiceSetup WithLargeValues() {
  const std::string kTail = R"(, "type": "text", "access": "read-write", "minimum": 0, "maximum": )"
                            R"(65536, "default": ")";
  ServiceSetup setup;
  setup.model = R"({"device": "d", "version": 1, "keys": [{"key": "a")" + kTail +
                std::string(65536, 'x') + R"("}, {"key": "b")" + kTail +
                R"("}, {"key": "System.ProductName")" + kTail + kProduct + "\"}]}";
  return setup;
}

TEST(Service, StuckClients) {
  const Service service(WithLargeValues());
  const std::string request = QueryRequest("System.ProductName");
  Client idle(service.Socket());
  Client stuck(service.Socket());
  Client dribbling(service.Socket());
  ASSERT_TRUE(stuck.Send(std::string_view(request).substr(0, 10)));
  const auto begin = Clock::now();

  Client greedy(service.Socket());
  std::string wall;
  for (int i = 0; i < 200; ++i) wall += "a;";
  const std::string large = QueryRequest(wall);
  ASSERT_TRUE(greedy.Send(large));
  ASSERT_TRUE(greedy.Send(large));

  Client other(service.Socket());
  std::size_t sent = 0;
  bool dribblerClosed = false;
  bool stuckClosed = false;
  double slowest = 0;
  while (Clock::now() - begin < std::chrono::seconds(12)) {
    const auto before = Clock::now();
    ASSERT_EQ(Ask(other, request), kProduct);
    const std::chrono::duration<double, std::milli> took = Clock::now() - before;
    slowest = std::max(slowest, took.count());
    if (sent < request.size() - 1 && !dribblerClosed) {
      dribbling.Send(std::string_view(request).substr(sent++ % (request.size() - 1), 1));
      dribblerClosed = dribbling.IsClosed(0);
    }
    if (!stuckClosed && stuck.IsClosed(0)) {
      stuckClosed = true;
      const auto after = std::chrono::duration<double>(Clock::now() - begin).count();
      EXPECT_GE(after, 9.5);
      EXPECT_LE(after, 11.5);
    }
    usleep(200000);
  }
  EXPECT_TRUE(stuckClosed);
  EXPECT_TRUE(dribblerClosed || dribbling.IsClosed(0));
  EXPECT_LT(slowest, 500) << "milliseconds";
  // The one that never read has been cut off; a quiet one has not.
  EXPECT_EQ(greedy.Receive().substr(0, 6), "closed");
  EXPECT_EQ(Ask(idle, request), kProduct);
  std::printf("slowest answer to the others: %.1f ms\n", slowest);
}

TEST(Service, MemoryOfClientsThatDoNotRead) {
  const Service service(WithLargeValues());
  std::string wall;
  for (int i = 0; i < 200; ++i) wall += "a;";
  const std::string large = QueryRequest(wall);  // answers of about 13 MB
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(std::make_unique<Client>(service.Socket()));
    ASSERT_TRUE(clients.back()->Send(large));
  }
  Client other(service.Socket());
  const auto begin = Clock::now();
  long most = 0;
  bool cutOff = false;
  while (!cutOff && Clock::now() - begin < std::chrono::seconds(30)) {
    ASSERT_EQ(Ask(other, QueryRequest("System.ProductName")), kProduct);
    most = std::max(most, service.ResidentKilobytes());
    cutOff = service.Log().find("too many answers wait") != std::string::npos;
    usleep(20000);
  }
  EXPECT_TRUE(cutOff);
  std::printf("largest resident size: %ld kB\n", most);
#if !defined(__SANITIZE_ADDRESS__)
  EXPECT_LT(most, 192 * 1024);
#endif
}

TEST(Service, ManyClients) {
  Service service;
  const std::string load = Quoted(VISTEL_TEST_LOAD);
  EXPECT_EQ(RunProgram(load + " -c 200 -n 20000 -s " + service.Socket()), 0);
  const long early = service.ResidentKilobytes();
  EXPECT_EQ(RunProgram(load + " -c 200 -n 100000 -s " + service.Socket()), 0);
  const long late = service.ResidentKilobytes();
  // AddressSanitizer keeps what is freed for a while.
#if !defined(__SANITIZE_ADDRESS__)
  EXPECT_LE(late, early + early / 10 + 256);
#endif
  std::printf("resident: %ld kB after 20,000 queries, %ld kB after 120,000\n", early, late);
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
}

// Nobody has to show anything to begin a request, and so beginnings have a limit of their own.
TEST(Service, MemoryOfUnfinishedRequests) {
  const Service service(ServiceSetup{"", "secret\n", 0640, "", 0});
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  const std::string beginning = "1048576:" + std::string(1048500, 'x');
  const std::string request = QueryRequest("System.ProductName", "secret");
  Client idle(service.Socket());
  ASSERT_EQ(Ask(idle, request), kProduct);
  const long before = service.ResidentKilobytes();
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 100; ++i) {
    clients.push_back(std::make_unique<Client>(service.Socket()));
    ASSERT_TRUE(clients.back()->Send(beginning)) << i;
  }
  Client other(service.Socket());
  EXPECT_EQ(Ask(other, request), kProduct);
  EXPECT_EQ(Ask(idle, request), kProduct);
  EXPECT_TRUE(clients.front()->IsClosed());
  EXPECT_FALSE(clients.back()->IsClosed(0));
  EXPECT_NE(service.Log().find("too many requests wait: the client whose request began first"),
            std::string::npos);
  const long after = service.ResidentKilobytes();
  std::printf("resident: %ld kB before, %ld kB with 100 requests begun\n", before, after);
#if !defined(__SANITIZE_ADDRESS__)
  EXPECT_LT(after, before + 24 * 1024);
#endif
}

// One client's sets, sent all at once, are stored one by one between the others' turns.
TEST(Service, PipelinedSetsLetOthersThrough) {
  const Service service;
  Client setter(service.Socket());
  Client other(service.Socket());
  constexpr int kSets = 100;
  std::string sets;
  for (int i = 0; i < kSets; ++i) {
    sets += SetRequest({{"System.DeviceName", "name " + std::to_string(i)}});
  }
  ASSERT_TRUE(setter.Send(sets));
  // Each set costs the others one transaction at most, so that many names are seen on the way.
  std::string name;
  int seen = 0;
  const std::string last = "name " + std::to_string(kSets - 1);
  const auto begin = Clock::now();
  while (name != last && Clock::now() - begin < std::chrono::seconds(30)) {
    const std::string now = Ask(other, QueryRequest("System.DeviceName"));
    if (now != name) ++seen;
    name = now;
  }
  EXPECT_EQ(name, last);
  EXPECT_GT(seen, kSets / 4);
  for (int i = 0; i < kSets; ++i) ASSERT_EQ(setter.Receive(), Answer(0, "")) << i;
}

// The largest answer there is, and one of a byte more.
TEST(Service, LargestAnswer) {
  constexpr std::size_t kMost = std::size_t{16} << 20;
  const Service service(WithLargeValues());
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client client(service.Socket());
  std::string query = "b;";
  for (int i = 0; i < 255; ++i) query += "a;";
  const std::string kFew(10000, 'y');
  ASSERT_EQ(Ask(client, SetRequest({{"b", kFew}})), "");
  ASSERT_TRUE(client.Send(QueryRequest(query)));
  const std::size_t size = client.Receive().size();
  ASSERT_GT(size, kMost - 60000);
  const std::size_t room = kMost - size;
  ASSERT_EQ(Ask(client, SetRequest({{"b", kFew + std::string(room, 'y')}})), "");
  ASSERT_TRUE(client.Send(QueryRequest(query)));
  EXPECT_EQ(client.Receive().size(), kMost);
  ASSERT_EQ(Ask(client, SetRequest({{"b", kFew + std::string(room + 1, 'y')}})), "");
  EXPECT_EQ(Ask(client, QueryRequest(query)),
            "[1: The answer would be larger than 16777216 bytes.]");
  EXPECT_EQ(Ask(client, QueryRequest(query + "a;")),
            "[1: The answer would be larger than 16777216 bytes.]");
}

// More connections than there are places: the longest idle ones make room, nobody is turned away.
TEST(Service, MoreClientsThanPlaces) {
  const Service service;
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 1010; ++i) {
    clients.push_back(std::make_unique<Client>(service.Socket()));
    if (!clients.back()->IsConnected()) GTEST_SKIP() << "too few open files for this test";
  }
  EXPECT_EQ(Ask(*clients.back(), QueryRequest("System.ProductName")), kProduct);
  EXPECT_TRUE(clients.front()->IsClosed());
}

// A request that does not end is no claim to a place.
TEST(Service, UnfinishedRequestsMakeRoomFirst) {
  const Service service;
  const std::string request = QueryRequest("System.ProductName");
  Client idle(service.Socket());
  ASSERT_EQ(Ask(idle, request), kProduct);
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 1005; ++i) {
    clients.push_back(std::make_unique<Client>(service.Socket()));
    if (!clients.back()->IsConnected()) GTEST_SKIP() << "too few open files for this test";
    // All of it has arrived when the next client is accepted.
    ASSERT_TRUE(clients.back()->Send("9:"));
  }
  Client other(service.Socket());
  EXPECT_EQ(Ask(other, request), kProduct);
  EXPECT_EQ(Ask(idle, request), kProduct);
  EXPECT_NE(service.Log().find("too many clients: the one whose request has been unfinished for "
                               "longest is disconnected"),
            std::string::npos);
}

TEST(Log, Records) {
  EXPECT_EQ(Log::Record("T", "a\nb\x1B[0m\xC3\xA4"), "T sysmgrd: a?b?[0m??\n");
  EXPECT_EQ(Log::Record("T", std::string(5000, 'x')).size(), Log::kMaxRecordBytes);
}

}  // namespace
