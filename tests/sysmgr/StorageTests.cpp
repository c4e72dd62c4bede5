// SPDX-License-Identifier: MIT
//
// Settings on the disk: new models over old databases, disks that refuse, and a service that is
// killed at any moment.
#include "sysmgr/device/Storage.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "sysmgr/model/ModelReader.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Service.h"

namespace {

const std::string kA = TextKey("a", "1");
const std::string kAAndB = kA + "," + TextKey("b", "2");

class StorageTest : public testing::Test {
 protected:
  TestFolder folder_{"/tmp/vistel-sysmgr"};
  std::string path_ = folder_.Path("settings.db");
  Model small_ = ReadModel("m", ModelOf(kA));
  Model model_ = ReadModel("m", ModelOf(kAAndB));
};

TEST_F(StorageTest, NewModelsOverOldDatabases) {
  {
    Storage storage(path_, model_);
    EXPECT_EQ(storage.Get("a"), "1");
    EXPECT_EQ(storage.Store({{"a", std::string("x\0y", 3)}}).Text(), "");
    EXPECT_EQ(storage.Get("a"), std::string("x\0y", 3));
    EXPECT_EQ(storage.Store({{"a", "long value"}, {"b", "22"}}).Text(), "");
  }
  // One key is gone, one is new, one takes less than what is stored.
  const Model other = ReadModel(
      "m", ModelOf(KeyOf("a", "text read-write, 'minimum': 0, 'maximum': 3, 'default': 'new'") +
                   "," + TextKey("c", "3")));
  {
    const Storage storage(path_, other);
    EXPECT_EQ(storage.Get("a") + storage.Get("b") + storage.Get("c"), "new3");
  }
  // The way back finds what was there.
  const Storage storage(path_, model_);
  EXPECT_EQ(storage.Get("a") + storage.Get("b"), "long value22");
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(StorageTest, UnusableFiles) {
  const auto fault = [this](const std::string& path) {
    return FaultOf([&] { const Storage storage(path, model_, 1); });
  };
  const std::string text = folder_.Write("text", std::string(5000, 'x'));
  EXPECT_EQ(fault(text), "database '" + text + "' can't be used: file is not a database");
  const std::string missing = folder_.Path("no/settings.db");
  EXPECT_EQ(fault(missing),
            "database '" + missing + "' can't be opened: unable to open database file");
  const Service service({"", "", 0640, path_});
  EXPECT_EQ(fault(path_), "database '" + path_ + "' can't be used: database is locked");
}

// Fails when the disk takes nothing, and then leaves everything as it was; else it forgets what
// other models and the service itself have left, too.
TEST_F(StorageTest, ResetsAllOrNothing) {
  const std::string own = std::string(1, Storage::kOwnPrefix) + "name";
  const std::string secret(9000, 's');
  EXPECT_EQ(Storage(path_, model_).Store({{"a", secret}, {"b", "y"}, {own, "z"}}).Text(), "");
  {
    Storage storage(path_, small_);
    EXPECT_EQ(storage.Get(own), "z");
    EXPECT_EQ(WithFileLimit(1, [&storage] { return storage.Reset().Text(); }),
              "This could not be stored: the storage reports an error.");
    EXPECT_EQ(storage.Get("a") + storage.Get(own), secret + "z");
  }
  EXPECT_EQ(Storage(path_, model_).Get("b"), "y");
  {
    Storage storage(path_, small_);
    EXPECT_EQ(storage.Reset().Text(), "");
    EXPECT_EQ(storage.Get("a") + storage.Get(own), "1");
  }
  const Storage storage(path_, model_);
  EXPECT_EQ(storage.Get("a") + storage.Get("b") + storage.Get(own), "12");
  EXPECT_EQ(ReadFile(path_).find("ssss"), std::string::npos);
}

// A limit on the size of files cuts writing short in the middle of a batch.
TEST_F(StorageTest, WritingCutShort) {
  Service service({ModelOf(kAAndB), "", 0640, "", "ulimit -f 80; exec"});
  const std::string long_(20000, 'x');
  EXPECT_EQ(service.Set("a=x"), "");
  EXPECT_EQ(service.Set("a=" + long_ + "|b=" + long_),
            "//This could not be stored: the storage reports an error.");
  service.Expect("a;b => x|2 \n set b=y =>");
  EXPECT_EQ(service.End(SIGTERM), "exit 0");
  service.Start();
  EXPECT_EQ(service.Get("a;b"), "x|y");
}

TEST_F(StorageTest, FullAndReadOnlyDisk) {
  const std::string disk = folder_.Path("disk");
  mkdir(disk.c_str(), 0700);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=64k,mode=0700") != 0) {
    GTEST_SKIP() << "no right to mount a file system";
  }
  const std::string path = disk + "/settings.db";
  {
    Storage storage(path, model_);
    EXPECT_EQ(storage.Store({{"a", "before"}}).Text(), "");
    folder_.Write("disk/filler", std::string(64 * 1024, 'x'));
    EXPECT_EQ(storage.Store({{"a", std::string(9000, 'x')}, {"b", "after"}}).Text(),
              "This could not be stored: the storage is full.");
    EXPECT_EQ(storage.Get("a") + storage.Get("b"), "before2");
    unlink((disk + "/filler").c_str());
    EXPECT_EQ(storage.Store({{"b", "room"}}).Text(), "");
  }
  EXPECT_EQ(mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
  {
    Storage storage(path, model_);
    EXPECT_EQ(storage.Store({{"a", "lost"}}).Text(),
              "This could not be stored: the storage is read-only.");
    EXPECT_EQ(storage.Get("a") + storage.Get("b"), "beforeroom");
  }
  umount2(disk.c_str(), MNT_DETACH);
}

// A kill takes nothing from the page cache, so that only the calls show whether a batch is safe
// from a power cut when it is answered.
TEST_F(StorageTest, AnswersAfterSyncing) {
  constexpr std::ptrdiff_t kLeastSyncs = 3;
  const std::string calls = folder_.Path("calls");
  ServiceSetup setup{ModelOf(kAAndB)};
  setup.runner = "ASAN_OPTIONS=detect_leaks=0 exec strace -D -f -e fsync,fdatasync -o " + calls;
  Service service(setup);
  const auto syncs = [&calls] {
    const std::string text = ReadFile(calls);
    return std::count(text.begin(), text.end(), '(');
  };
  EXPECT_EQ(service.Get("a"), "1");
  const std::ptrdiff_t before = syncs();
  EXPECT_EQ(service.Set("a=x|b=y"), "/");
  EXPECT_GE(syncs(), before + kLeastSyncs);
}

// Batches of equal values: afterwards all values are still equal, and no older than the last batch
// that was answered.
TEST_F(StorageTest, KilledAtAnyMoment) {
  std::string keys;
  std::string query;
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
    keys += (keys.empty() ? "" : ",") + TextKey(name, "0");
    query += std::string(name) + ";";
  }
  Service service({ModelOf(keys)});
  long value = 0;
  long answered = 0;
  KillAtAnyMoment(
      service,
      [&] {
        for (bool isStored = true; isStored; answered = isStored ? value : answered) {
          // Values of several pages, so that a batch is more than one write.
          const std::string text = "=" + std::to_string(++value) + std::string(1500, '.');
          isStored = service.Set("a" + text + "|b" + text + "|c" + text + "|d" + text + "|e" +
                                 text + "|f" + text) == "/////";
        }
      },
      [&] {
        const StringVector stored('|', service.Get(query));
        ASSERT_EQ(std::count(stored.begin(), stored.end(), stored.at(0)), 6) << "half a batch";
        EXPECT_GE(std::stol(stored[0]), answered) << "a batch that was answered is lost";
        EXPECT_LE(std::stol(stored[0]), value);
      });
  EXPECT_GT(answered, 0);
}

}  // namespace
