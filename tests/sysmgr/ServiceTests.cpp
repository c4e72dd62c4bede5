// SPDX-License-Identifier: MIT
//
// The service from outside: who may speak to it, what it makes of bytes that are no request, and
// what one client can cost another.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <string>

#include "sysmgr/log/Log.h"
#include "tests/sysmgr/Service.h"

namespace {

using Clock = std::chrono::steady_clock;

const char kProduct[] = "Vistel Powerline Adapter";
const std::string kAskProduct = Frame("query|||tester|System.ProductName|0");

// "a" has 65536 bytes, "b" none yet.
ServiceSetup WithLargeValues() {
  return {ModelOf(TextKey("a", std::string(65536, 'x')) + "," + TextKey("b", "") + "," +
                  TextKey("System.ProductName", kProduct))};
}

// A query whose answer has some 13 MB.
std::string LargeQuery() {
  std::string cells;
  for (int i = 0; i < 200; ++i) cells += "1:a,";
  return Frame("query|||tester|#1:200:" + cells + "|0");
}

TEST(Service, StartsAndEnds) {
  Service service;
  const auto mode = [&service](const char* name) {
    struct stat status {};
    return stat(service.Path(name).c_str(), &status) == 0 ? status.st_mode & 0777U : 0U;
  };
  EXPECT_EQ(mode("run"), 0750U);
  EXPECT_EQ(mode("run/socket"), 0660U);
  EXPECT_EQ(service.Get("System.ProductName"), kProduct) << service.Log();
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  EXPECT_EQ(mode("run/socket"), 0U);
  // One that was killed leaves its socket behind; the next one takes it over.
  service.Start();
  EXPECT_EQ(service.End(SIGKILL), "signal 9");
  EXPECT_EQ(mode("run/socket"), 0660U);
  service.Start();
  EXPECT_EQ(service.Get("System.ProductName"), kProduct) << service.Log();
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  for (const mode_t wide : {0755U, 0770U}) {
    chmod(service.Path("run").c_str(), wide);
    service.Start();
    EXPECT_EQ(service.End(SIGTERM), "exit 1");
  }
}

TEST(Service, RefusesToStart) {
  const auto expect = [](const ServiceSetup& setup, const std::string& record) {
    Service service(setup);
    EXPECT_EQ(service.End(SIGTERM), "exit 1") << record;
    const std::string log = service.Log();
    EXPECT_NE(log.find(record), std::string::npos) << log;
    EXPECT_EQ(log.find('\n'), log.size() - 1) << log;
    EXPECT_EQ(log.find("secret\n"), std::string::npos);
  };
  expect({"{"}, "line 1: syntax error");
  expect({"", "secret\n", 0644}, "is too open; its mode must be 0640 or less");
  expect({"", "secret\n", 0660}, "is too open");
  expect({"", "\n", 0600}, "is empty");
  expect({"", "", 0600, "/nowhere/s.db"}, "can't be opened");
}

// Commands of a shell in the service's folder, and their status; "c" asks the service.
TEST(Service, CommandLines) {
  const Service service({"", "secret\n"});
  setenv("F", service.Path().c_str(), 1);
  setenv("D", VISTEL_TEST_SYSMGRD, 1);
  setenv("C", VISTEL_TEST_SYSMGRCTL, 1);
  setenv("L", VISTEL_TEST_LOAD, 1);
  setenv("M", VISTEL_TEST_MODEL, 1);
  service.Write("c", R"(exec "$C" --socket run/socket --authorisation auth "$@")");
  for (const auto& row : Rows(R"x(
      "$D" --help >/dev/null => 0
      "$D" --version | grep -Eqx 'sysmgrd [0-9.]+' => 0
      "$D" --check-model --model "$M" => 0
      "$D" --check-model --model /dev/null 2>/dev/null => 1
      "$D" --seed x 2>/dev/null => 2
      "$D" extra 2>/dev/null => 2
      "$D" --socket run/socket --database other.db --model "$M" 2>/dev/null => 1
      sh c set System.DeviceName=a=b System.Led=0 => 0
      test "$(sh c get System.DeviceName System.Led)" = "$(printf 'a=b\t0')" => 0
      test "$(sh c set System.Led=2 2>&1)" = 'sysmgrctl: System.Led: Choose 0 or 1.' => 0
      sh c get Foo 2>/dev/null => 1
      sh c cat System.Led System.Led 2>/dev/null => 2
      sh c cat System.ConfigShow >upload.bin => 0
      sh c set System.Led=1 && sh c set System.ConfigRestore=apply => 0
      test "$(sh c get System.DeviceName System.Led)" = "$(printf 'a=b\t0')" => 0
      echo long enough | sh c set HomePlug.NetworkPassword=- => 0
      sh c watch System.DeviceName >out & until grep -qx a=b out; do sleep 0.01; done; kill $!; wait $! => 0
      sh c get "$(printf 'a\302\233\377\033\303\244')" 2>&1 | grep -qF "$(printf "'a': The key is malformed.")" => 0
      sh c 2>/dev/null => 2
      "$L" -c 200 -n 2000 -s run/socket -a secret >/dev/null => 0
      )x")) {
    const int status = std::system(("cd \"$F\"; " + row[0]).c_str());
    EXPECT_EQ(std::to_string(WEXITSTATUS(status)), row.at(1)) << row[0];
  }
  EXPECT_EQ(service.Log().find("long enough"), std::string::npos);
}

TEST(Service, RequestsThatAreRefused) {
  const Service service({"", "the secret\n"});
  Client client(service.Socket());
  for (const std::string shown :
       {"", "the secre", "the secret\n", "the secrets", "The secret", "the secretthe secret"}) {
    for (const std::string kind : {"query|Test|", "set|Test|"}) {
      EXPECT_EQ(client.Ask(Frame(kind + shown + "|tester|System.Led|0")),
                "[2: The authorisation is wrong.]");
    }
  }
  const Service open;
  EXPECT_EQ(Client(open.Socket()).Ask(Frame("query|Test|anything|tester|System.Led|0")),
            "[2: The authorisation is wrong.]");
  const std::string kNotUnderstood = "[3: The request is not understood.]";
  const std::string kNoQuery = "[1: A query is a table of one column with a row for each key.]";
  const std::string kNoSet =
      "[1: A set is two tables of one column with as many keys as values, 1 to 4096.]";
  EXPECT_EQ(client.Ask("0:,"), kNotUnderstood);
  for (const auto& row : Rows(R"(
      query => 3
      quarry|s|the secret|c|System.Led|0 => 3
      query|s|the secret|c|System.Led => 3
      query|s|the secret|c|System.Led|0|more => 3
      query|s|the secret|c||0 => [1: The key is malformed.]
      query|s|the secret|c|#1:4294967295:|0 => 1q
      query|s|the secret|c|#4294967296:1:1:a,|0 => 1q
      query|s|the secret|c|#1:1:99999999999999999999:a,|0 => 1q
      query|s|the secret|c|#2:1:1:a,1:b,|0 => 1q
      set|s|the secret|c|System.Led|#1:2:1:0,1:1, => 1s
      set|s|the secret|c|#1:0:|#1:0: => 1s
      set|s|the secret|c|System.Led|#1:1:9:0, => 1s
      query||the secret||System.Led| => 1
      )")) {
    const std::string& result = row.at(1);
    EXPECT_EQ(client.Ask(Frame(row[0])), result == "3"    ? kNotUnderstood
                                         : result == "1q" ? kNoQuery
                                         : result == "1s" ? kNoSet
                                                          : result)
        << row[0];
  }
  EXPECT_EQ(service.Log().find("secret"), std::string::npos);
}

// Whatever a client sends, it gets an answer or an end: never silence, never half an answer.
TEST(Service, BytesThatAreNoRequest) {
  Service service;
  for (const std::string bytes :
       {"x", ":", ",", "-1:", "01:a,", "1048577:", "4294967296:", "18446744073709551616:", "1:ab",
        "3:1:a.,", "5:1:a,,,", "6:9:abc,,", "99999999999999999999999999999999999999999999"}) {
    Client client(service.Socket());
    client.Send(bytes);
    EXPECT_EQ(client.Receive(), "closed") << bytes;
  }
  const std::string request =
      Frame("query|Test||tester|#1:2:18:System.ProductName,10:System.Led,|0");
  for (std::size_t at = 0; at < request.size(); ++at) {
    Client cut(service.Socket());
    ASSERT_TRUE(cut.Send(request.substr(0, at)));
    cut.SendNoMore();
    EXPECT_EQ(cut.Receive(), "closed") << at;
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string changed = request;
      changed[at] = static_cast<char>(changed[at] ^ (1 << bit));
      Client client(service.Socket());
      client.Send(changed);
      client.SendNoMore();
      const std::string payload = client.Receive();
      EXPECT_TRUE(payload != "nothing" && payload != "malformed") << at << payload;
    }
  }
  // The largest request there is, refused for what it says and not for its size.
  EXPECT_EQ(service.Get(std::string(1048576 - 200, 'x')).substr(0, 10), "[1: key 'x");
  EXPECT_EQ(service.Get("System.ProductName;System.Led"), kProduct + std::string("|1"));
}

TEST(Service, ByteByByteAndAllAtOnce) {
  const Service service;
  Client slow(service.Socket());
  for (const char byte : kAskProduct) {
    ASSERT_TRUE(slow.Send({&byte, 1}));
    usleep(100);
  }
  EXPECT_EQ(slow.Ask(""), kProduct);
  // More requests than one turn answers, with different answers, in order.
  Client many(service.Socket());
  std::string requests;
  constexpr int kRequests = 1000;
  for (int i = 0; i < kRequests; ++i) {
    requests += i % 2 == 0 ? kAskProduct : Frame("query|||tester|System.Led|0");
  }
  ASSERT_TRUE(many.Send(requests));
  many.SendNoMore();
  for (int i = 0; i < kRequests; ++i) ASSERT_EQ(many.Ask(""), i % 2 == 0 ? kProduct : "1") << i;
  EXPECT_EQ(many.Receive(), "closed");
}

// Clients that stop in the middle or don't read: the others are served at once, they themselves
// are disconnected when their time is over.
TEST(Service, StuckClients) {
  constexpr int kDeadlineMilliseconds = 1000;
  ServiceSetup setup = WithLargeValues();
  setup.pace = Pace{kDeadlineMilliseconds};
  Service service(setup);
  Client idle(service.Socket());
  EXPECT_EQ(idle.Ask(kAskProduct), kProduct);
  const auto begin = Clock::now();
  Client stuck(service.Socket());
  Client dribbling(service.Socket());
  Client greedy(service.Socket());
  ASSERT_TRUE(stuck.Send("10"));
  ASSERT_TRUE(dribbling.Send("9999:"));
  ASSERT_TRUE(greedy.Send(LargeQuery() + LargeQuery()));
  int answers = 0;
  EXPECT_TRUE(Eventually([&] {
    if (service.Get("System.ProductName") == kProduct) ++answers;
    dribbling.Send("x");
    return stuck.IsClosed() && dribbling.IsClosed() &&
           service.Log().find("does not take its answer") != std::string::npos;
  }));
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(kDeadlineMilliseconds));
  EXPECT_GT(answers, 10);
  EXPECT_EQ(greedy.Receive(), "closed");
  EXPECT_EQ(idle.Ask(kAskProduct), kProduct);
}

// When clients that begin requests, take no answers or do nothing become too many, the one that
// began first goes. Not so one whose request came whole meanwhile and that has begun another one.
TEST(Service, LimitsOnClients) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  const auto expect = [](unsigned few, const std::string& bytes, const std::string& record) {
    SCOPED_TRACE(record);
    Service service(WithLargeValues());
    std::deque<Client> clients;
    const auto add = [&](const std::string& begin) {
      ASSERT_TRUE(clients.emplace_back(service.Socket()).Send(begin)) << clients.size();
    };
    const auto settle = [&service] { ASSERT_EQ(service.Get("System.ProductName"), kProduct); };
    add(kAskProduct.substr(0, 9));
    settle();
    add(bytes);
    settle();
    while (clients.size() <= few) add(bytes);
    settle();
    EXPECT_EQ(clients[0].Ask(kAskProduct.substr(9) + bytes.substr(0, 2)), kProduct);
    while (service.Log().find(record) == std::string::npos && clients.size() < 1100) {
      add(bytes);
      settle();
    }
    EXPECT_EQ(clients[1].Receive(), "closed");
    EXPECT_FALSE(clients[0].IsClosed());
    EXPECT_FALSE(clients.back().IsClosed());
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(service.ResidentKilobytes(), 192 * 1024);
#endif
  };
  expect(2, LargeQuery(), "too many answers wait: a client that does not read is disconnected");
  expect(7, "1048576:" + std::string(1048500, 'x'),
         "too many requests wait: the client whose request began first is disconnected");
  expect(990, "9:",
         "too many clients: the one whose request has been unfinished for longest is disconnected");
  expect(990, "", "too many clients: the one that has been idle for longest is disconnected");
}

// One client's sets, sent all at once, are stored one by one between the others' turns.
TEST(Service, PipelinedSetsLetOthersThrough) {
  Service service;
  Client setter(service.Socket());
  constexpr int kSets = 40;
  std::string sets;
  for (int i = 1; i <= kSets; ++i) {
    sets += Frame("set|||tester|System.DeviceName|name " + std::to_string(i));
  }
  ASSERT_TRUE(setter.Send(sets));
  // Each set costs the others one transaction at most, so that many names are seen on the way.
  std::string name;
  int seen = 0;
  EXPECT_TRUE(Eventually([&] {
    const std::string now = service.Get("System.DeviceName");
    if (now != name) ++seen;
    name = now;
    return name == "name 40";
  }));
  EXPECT_GT(seen, kSets / 4);
  for (int i = 0; i < kSets; ++i) ASSERT_EQ(setter.Ask(""), "") << i;
}

// The largest answer there is, and one of a byte more.
TEST(Service, LargestAnswer) {
  constexpr std::size_t kMost = std::size_t{16} << 20;
  Service service(WithLargeValues());
  std::string cells = "1:b,";
  for (int i = 0; i < 255; ++i) cells += "1:a,";
  const std::string query = Frame("query|||tester|#1:256:" + cells + "|0");
  Client client(service.Socket());
  const std::string kFew(10000, 'y');
  EXPECT_EQ(service.Set("b=" + kFew), "");
  ASSERT_TRUE(client.Send(query));
  const std::size_t room = kMost - client.Receive().size();
  ASSERT_LT(room, 60000U);
  EXPECT_EQ(service.Set("b=" + kFew + std::string(room, 'y')), "");
  ASSERT_TRUE(client.Send(query));
  EXPECT_EQ(client.Receive().size(), kMost);
  EXPECT_EQ(service.Set("b=" + kFew + std::string(room + 1, 'y')), "");
  EXPECT_EQ(client.Ask(query), "[1: The answer would be larger than 16777216 bytes.]");
  EXPECT_EQ(client.Ask(Frame("query|||tester|#1:257:1:a," + cells + "|0")),
            "[1: The answer would be larger than 16777216 bytes.]");
}

TEST(Log, Records) {
  EXPECT_EQ(Log::Record("T", "a\nb\x1B[0m\xC3\xA4"), "T sysmgrd: a?b?[0m??\n");
  EXPECT_EQ(Log::Record("T", std::string(5000, 'x')).size(), Log::kMaxRecordBytes);
}

}  // namespace
