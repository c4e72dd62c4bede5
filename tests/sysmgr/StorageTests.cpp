// SPDX-License-Identifier: MIT
//
// Settings on the disk: new models over old databases, disks that refuse, and a service that is
// killed at any moment. How often it is killed comes from VISTEL_TEST_KILLS.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include "sysmgr/device/Storage.h"
#include "sysmgr/log/Failure.h"
#include "sysmgr/model/ModelReader.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Service.h"

namespace {

constexpr int kBatchKeys = 8;

std::string Key(const std::string& name, const std::string& value, int maximum = 20000) {
  return R"({"key": ")" + name + R"(", "type": "text", "access": "read-write", "minimum": 0, )" +
         R"("maximum": )" + std::to_string(maximum) + R"(, "default": ")" + value + R"("})";
}

std::string FaultOf(const std::string& path, const Model& model) {
  try {
    const Storage storage(path, model);
    return "none";
  } catch (const StartFailure& failure) {
    return failure.what();
  }
}

TEST(Storage, NewModelsOverOldDatabases) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string path = folder.Path() + "/settings.db";
  const Model first = ReadModel("m", ModelOf(Key("a", "1") + "," + Key("b", "2")));
  {
    Storage storage(path, first);
    EXPECT_EQ(storage.Get("a"), "1");
    EXPECT_TRUE(storage.Store({{"a", std::string("x\0y", 3)}}).IsSuccess());
    EXPECT_EQ(storage.Get("a"), std::string("x\0y", 3));
    EXPECT_TRUE(storage.Store({{"a", "long value"}, {"b", "22"}}).IsSuccess());
  }
  // One key is gone, one is new, one takes less than what is stored.
  const Model second = ReadModel("m", ModelOf(Key("a", "new", 3) + "," + Key("c", "3")));
  {
    Storage storage(path, second);
    EXPECT_EQ(storage.Get("a"), "new");
    EXPECT_EQ(storage.Get("b"), "");
    EXPECT_EQ(storage.Get("c"), "3");
  }
  // The way back finds what was there.
  Storage storage(path, first);
  EXPECT_EQ(storage.Get("a"), "long value");
  EXPECT_EQ(storage.Get("b"), "22");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(Storage, UnusableFiles) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const Model model = ReadModel("m", ModelOf(Key("a", "1")));
  const std::string text = folder.Write("text", std::string(5000, 'x'));
  EXPECT_EQ(FaultOf(text, model), "database '" + text + "' can't be used: file is not a database");
  const std::string missing = folder.Path() + "/no/settings.db";
  EXPECT_EQ(FaultOf(missing, model),
            "database '" + missing + "' can't be opened: unable to open database file");
  const std::string path = folder.Path() + "/settings.db";
  const Service service(ServiceSetup{"", "", 0640, path, 0});
  ASSERT_TRUE(service.IsRunning());
  EXPECT_EQ(FaultOf(path, model), "database '" + path + "' can't be used: database is locked");
}

// Fails when the disk takes nothing, and then leaves everything as it was; else it forgets what
// other models and the service itself have left, too.
TEST(Storage, ResetsAllOrNothing) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string path = folder.Path() + "/settings.db";
  const std::string own = std::string(1, Storage::kOwnPrefix) + "name";
  const Model first = ReadModel("m", ModelOf(Key("a", "1") + "," + Key("b", "2")));
  const Model second = ReadModel("m", ModelOf(Key("a", "1")));
  const std::string secret(9000, 's');
  EXPECT_TRUE(Storage(path, first).Store({{"a", secret}, {"b", "y"}, {own, "z"}}).IsSuccess());
  {
    Storage storage(path, second);
    EXPECT_EQ(storage.Get(own), "z");
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit none{1, limit.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    const Outcome outcome = storage.Reset();
    setrlimit(RLIMIT_FSIZE, &limit);
    static_cast<void>(std::signal(SIGXFSZ, handler));
    EXPECT_EQ(outcome.Text(), "This could not be stored: the storage reports an error.");
    EXPECT_EQ(storage.Get("a") + storage.Get(own), secret + "z");
  }
  EXPECT_EQ(Storage(path, first).Get("b"), "y");
  {
    Storage storage(path, second);
    EXPECT_TRUE(storage.Reset().IsSuccess());
    EXPECT_EQ(storage.Get("a") + storage.Get(own), "1");
  }
  const Storage storage(path, first);
  EXPECT_EQ(storage.Get("a") + storage.Get("b") + storage.Get(own), "12");
  EXPECT_EQ(ReadFile(path).find("ssss"), std::string::npos);
}

// A limit on the size of files cuts writing short in the middle of a batch, as a full disk does.
TEST(Storage, WritingCutShort) {
  ServiceSetup setup;
  setup.model = ModelOf(Key("a", "1") + "," + Key("b", "2"));
  setup.maxFileBytes = 40000;
  Service service(setup);
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client client(service.Socket());
  EXPECT_EQ(Ask(client, SetRequest({{"a", "x"}})), "");
  const std::string kError = "//This could not be stored: the storage reports an error.";
  EXPECT_EQ(
      Ask(client, SetRequest({{"a", std::string(20000, 'x')}, {"b", std::string(20000, 'y')}})),
      kError);
  EXPECT_EQ(Ask(client, QueryRequest("a;b")), "x|2");
  EXPECT_EQ(Ask(client, SetRequest({{"b", "y"}})), "");
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  service.Start();
  Client again(service.Socket());
  EXPECT_EQ(Ask(again, QueryRequest("a;b")), "x|y");
}

class Mount {
 public:
  explicit Mount(const std::string& folder) : folder_(folder) {
    mkdir(folder.c_str(), 0700);
    done_ = mount("none", folder.c_str(), "tmpfs", 0, "size=64k,mode=0700") == 0;
  }
  ~Mount() {
    if (done_) umount2(folder_.c_str(), MNT_DETACH);
  }
  Mount(const Mount&) = delete;
  Mount& operator=(const Mount&) = delete;
  bool IsDone() const { return done_; }
  bool MakeReadOnly() const {
    return mount("none", folder_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

 private:
  std::string folder_;
  bool done_ = false;
};

TEST(Storage, FullAndReadOnlyDisk) {
  const TestFolder folder("/tmp/vistel-sysmgr");
  const std::string disk = folder.Path() + "/disk";
  const Mount mounted(disk);
  if (!mounted.IsDone()) GTEST_SKIP() << "no right to mount a file system";
  ServiceSetup setup;
  setup.model = ModelOf(Key("a", "1") + "," + Key("b", "2"));
  setup.database = disk + "/settings.db";
  Service service(setup);
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client client(service.Socket());
  EXPECT_EQ(Ask(client, SetRequest({{"a", "before"}})), "");
  std::ofstream(disk + "/filler") << std::string(64 * 1024, 'x') << std::flush;
  EXPECT_EQ(Ask(client, SetRequest({{"a", std::string(9000, 'x')}, {"b", "after"}})),
            "//This could not be stored: the storage is full.");
  EXPECT_EQ(Ask(client, QueryRequest("a;b")), "before|2");
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  unlink((disk + "/filler").c_str());
  service.Start();
  {
    Client again(service.Socket());
    EXPECT_EQ(Ask(again, QueryRequest("a;b")), "before|2");
    EXPECT_EQ(Ask(again, SetRequest({{"b", "room"}})), "");
  }
  service.End(SIGTERM);

  ASSERT_TRUE(mounted.MakeReadOnly());
  service.Start();
  ASSERT_TRUE(service.IsRunning()) << service.Log();
  Client reader(service.Socket());
  EXPECT_EQ(Ask(reader, SetRequest({{"a", "lost"}})),
            "/This could not be stored: the storage is read-only.");
  EXPECT_EQ(Ask(reader, QueryRequest("a;b")), "before|room");
}

// Batches of equal values, one after the other, and a kill at a random moment: afterwards all
// values are still equal, and no older than the last batch that was answered.
TEST(Storage, KilledAtAnyMoment) {
  const char* const wanted = std::getenv("VISTEL_TEST_KILLS");
  const int kills = wanted != nullptr ? std::atoi(wanted) : 25;
  std::string keys;
  for (int i = 0; i < kBatchKeys; ++i) {
    keys += (i > 0 ? "," : "") + Key("k" + std::to_string(i), "0");
  }
  ServiceSetup setup;
  setup.model = ModelOf(keys);
  Service service(setup);
  std::mt19937 random(20261122);
  long long value = 0;
  long long answered = 0;
  int unanswered = 0;
  for (int kill = 0; kill < kills; ++kill) {
    ASSERT_TRUE(service.IsRunning()) << service.Log();
    Client client(service.Socket());
    const auto delay =
        std::chrono::microseconds(std::uniform_int_distribution<int>(0, 30000)(random));
    std::thread killer([&] {
      std::this_thread::sleep_for(delay);
      ::kill(service.Process(), SIGKILL);
    });
    for (;;) {
      ++value;
      // Values of several pages, so that a batch is more than one write.
      const std::string text = std::to_string(value) + std::string(1500, '.');
      std::vector<std::pair<std::string, std::string>> batch;
      for (int i = 0; i < kBatchKeys; ++i) batch.emplace_back("k" + std::to_string(i), text);
      const std::string answer = Ask(client, SetRequest(batch));
      if (answer != std::string(kBatchKeys - 1, '/')) {
        ++unanswered;
        break;
      }
      answered = value;
    }
    killer.join();
    EXPECT_EQ(service.End(SIGKILL), "signal 9");
    service.Start();
    ASSERT_TRUE(service.IsRunning()) << service.Log();
    Client reader(service.Socket());
    long long least = -1;
    long long most = -1;
    for (int i = 0; i < kBatchKeys; ++i) {
      const std::string cell = Ask(reader, QueryRequest("k" + std::to_string(i)));
      const long long stored = std::strtoll(cell.c_str(), nullptr, 10);
      least = i == 0 ? stored : std::min(least, stored);
      most = std::max(most, stored);
    }
    ASSERT_EQ(least, most) << "half a batch after kill " << kill;
    ASSERT_GE(least, answered) << "a batch that was answered is lost after kill " << kill;
    ASSERT_LE(least, value);
  }
  std::printf("%d kills, %lld batches answered, %d cut short, none lost and none halved\n", kills,
              value - unanswered, unanswered);
  EXPECT_GT(value, unanswered);
}

}  // namespace
