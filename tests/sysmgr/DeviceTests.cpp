// SPDX-License-Identifier: MIT
//
// Queries and batches over the product's model and a powerline whose clock stands still.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "platform/StringVector.h"
#include "sysmgr/log/Failure.h"
#include "tests/sysmgr/DeviceTest.h"

namespace {

TEST_F(DeviceTest, Queries) {
  const struct {
    const char* query;
    const char* answer;
  } kCases[] = {
      {"System.ProductName", "Vistel Powerline Adapter"},
      {"System.DeviceName;System.Led", "Vistel|1"},
      {"HomePlug.Stations{Role=local}.Name", "Vistel"},
      {"HomePlug.Stations{Role=local}", "local|00:0B:3B:7F:01:01|Vistel|||2.3.1-02|0||||"},
      {"HomePlug.Stations{MacAddress=00:0b:3b:7f:01:03}.Name",
       "<script>alert(\"powerline\")</script>"},
      {"HomePlug.Stations{Role=remote,MacAddress=00:0B:3B:7F:01:01}.Name", ""},
      // What a template writes with htmlesc into a selector stays that selector's value.
      {"HomePlug.Stations{Name=%22%3E%3Cimg%20src%3Dx%20onerror%3Dalert%281%29%3E}.MacAddress",
       "00:0B:3B:7F:01:07"},
      {"HomePlug.Stations{Name=B%C3%BCro%20Gr%C3%B6%C3%9Fe%2C%201%2E%20Stock%3B%20%7BRole%3Dlocal%"
       "7D}.MacAddress",
       "00:0B:3B:7F:01:05"},
      {"HomePlug.Stations{Name=x%2CRole%3Dlocal%7D;System.DeviceName}.MacAddress", ""},
      {"HomePlug.Stations{Role=local}.Role:format=scalar", "local"},
      {"HomePlug.Stations{Role=remote}.Role:format=scalar",
       "remote,remote,remote,remote,remote,remote,remote"},
      {"System.Check{Key=System.Led,Value=1}", ""},
      {"System.Check{Key=System.Led,Value=on}", "must be 0 or 1"},
      {"System.Check{Key=System.DeviceName}", "must be 1 to 63 characters"},
      {"System.Check{Key=System.ConfigRestore,Value=now}", "must be one of check, apply, drop"},
      {"System.Check{Key=System.ConfigRestore.Password,Value=short}", "must be 8 to 64 characters"},
      {"System.Check{Key=Foo,Value=%3C}", "there is no such setting"},
      {"System.Check{Key=System.Uptime,Value=1}", "can only be read"},
      {"Network.Link;Network.CurrentAddress;Network.CurrentNetmask;Network.CurrentGateway",
       "up|192.168.178.57|255.255.255.0|192.168.178.1"},
      // The shorter key's column is filled up with nothing.
      {"System.Led;HomePlug.Stations{Role=remote}.Role;System.PowerSave",
       "1|remote|1/|remote|/|remote|/|remote|/|remote|/|remote|/|remote|"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(TableText(Query(test.query)), test.answer) << test.query;
    EXPECT_EQ(problem_, "") << test.query;
  }
}

TEST_F(DeviceTest, RefusedQueries) {
  const struct {
    const char* query;
    const char* problem;
  } kCases[] = {
      {"", "a query is a table of one column with a row for each key"},
      {"Foo", "key 'Foo' is unknown"},
      {"System.Led;Foo;System.Led", "key 'Foo' is unknown"},
      {"System..Led", "key 'System..Led' is malformed"},
      {"HomePlug.NetworkPassword", "key 'HomePlug.NetworkPassword' can't be read"},
      {"HomePlug.Stations{Foo=1}", "key 'HomePlug.Stations' has no column Foo"},
      {"HomePlug.Stations{Role=local}.Foo", "key 'HomePlug.Stations' has no column Foo"},
      {"System.Led{Role=local}", "key 'System.Led' is not a table"},
      {"System.Led:size=2", "key 'System.Led:size=2' has no option size"},
      {"System.Led:format=xml", "key 'System.Led:format=xml' has no such format"},
      {"HomePlug.SNR:format=scalar",
       "key 'HomePlug.SNR:format=scalar' needs the selector MacAddress"},
      {"HomePlug.SNR{MacAddress=00:0B:3B:7F:01:01}", "key 'HomePlug.SNR' knows no such station"},
      {"HomePlug.SNR{Role=local}", "key 'HomePlug.SNR' has no selector Role"},
      {"System.Check{Value=1}", "key 'System.Check' needs the selector Key"},
      {"System.Check{Key=System.Led,Value=secret,More=secret}",
       "key 'System.Check' has no selector More"},
      {"System.Check{Value=secret", "key 'System.Check' is malformed"},
      {"System.ConfigShow:secrets=1",
       "key 'System.ConfigShow:secrets=1' takes only secrets=include"},
      {"System.ConfigShowCrypt",
       "key 'System.ConfigShowCrypt' can't be given while no password is set"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Query(test.query).Rows(), 0U) << test.query;
    EXPECT_EQ(problem_, test.problem) << test.query;
  }
  std::string many;
  for (unsigned i = 0; i <= Device::kMaxKeysPerRequest; ++i) many += "System.Led;";
  EXPECT_EQ(Query(many).Rows(), 0U);
  EXPECT_EQ(problem_, "more than 4096 keys");
  std::string large;
  for (unsigned i = 0; i < Device::kMaxKeysPerRequest; ++i) large += "HomePlug.ToneMaps;";
  EXPECT_EQ(Query(large).Rows(), 0U);
  EXPECT_EQ(problem_,
            "key 'HomePlug.ToneMaps' would bring the live values to more than 1048576 bytes");
}

TEST_F(DeviceTest, Batches) {
  const std::string kRequired = "A static address needs address, network mask and gateway.";
  const std::string kNetwork = "Address and gateway must be different devices of one network.";
  const struct {
    std::vector<std::pair<std::string, std::string>> settings;
    std::string answer;
    std::string stored;  // device name, mode and address afterwards
  } kCases[] = {
      {{{"System.DeviceName", "a"}}, "", "a|dhcp|"},
      {{{"System.DeviceName", ""}}, "must be 1 to 63 characters", "a|dhcp|"},
      {{{"System.DeviceName", "b"}, {"System.Led", "on"}}, "/must be 0 or 1", "a|dhcp|"},
      {{{"System.DeviceName", "b"}, {"Network.Mode", "static"}}, "//" + kRequired, "a|dhcp|"},
      {{{"Network.Address", "192.168.1.5"}, {"System.DeviceName", "b"}}, "/", "b|dhcp|192.168.1.5"},
      {{{"Network.Mode", "static"},
        {"Network.Netmask", "255.255.255.0"},
        {"Network.Gateway", "10.0.0.1"}},
       "///" + kNetwork,
       "b|dhcp|192.168.1.5"},
      {{{"Network.Mode", "static"},
        {"Network.Netmask", "255.255.255.0"},
        {"Network.Gateway", "192.168.1.1"}},
       "//",
       "b|static|192.168.1.5"},
      {{{"Network.Address", ""}}, "/" + kRequired, "b|static|192.168.1.5"},
      {{{"Network.Mode", "dhcp"}, {"Network.Address", ""}}, "/", "b|dhcp|"},
      {{{"Foo", "1"}}, "there is no such setting", "b|dhcp|"},
      {{{"System.Uptime", "1"}}, "can only be read", "b|dhcp|"},
      {{{"HomePlug.Stations{Role=local}.Name", "1"}}, "can only be read", "b|dhcp|"},
      {{{"System.Led:format=scalar", "1"}}, "can only be set as a whole", "b|dhcp|"},
      {{{"a b", "1"}}, "is not the name of a setting", "b|dhcp|"},
      {{{"System.DeviceName", "x"}, {"System.DeviceName", "y"}}, "/is there twice", "b|dhcp|"},
      {{{"HomePlug.NetworkPassword", "short"}}, "must be 8 to 64 characters", "b|dhcp|"},
      {{{"HomePlug.NetworkPassword", "long enough"}}, "", "b|dhcp|"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Set(test.settings), test.answer) << test.settings.front().first;
    EXPECT_EQ(TableText(Query("System.DeviceName;Network.Mode;Network.Address")), test.stored)
        << test.settings.front().first;
  }
}

// An action stands alone with its own parameters, and is carried out once all of them are fine.
TEST_F(DeviceTest, Actions) {
  const Model model = ReadModel("m", R"({"device": "d", "version": 1, "keys": [
    {"key": "Do", "type": "enumeration", "access": "action", "action": "do", "values": ["1", "2"]},
    {"key": "Do.Where", "type": "mac", "access": "parameter"},
    {"key": "Do.How", "type": "text", "access": "parameter", "optional": true, "minimum": 2, "maximum": 3},
    {"key": "Other", "type": "boolean", "access": "action", "action": "other"},
    {"key": "Led", "type": "boolean", "access": "read-write", "default": "1"},
    {"key": "Names", "type": "table", "access": "read", "source": "names",
     "columns": [{"name": "Name", "type": "text"}]}]})");
  Sources sources;
  // What others call themselves is made safe for every page.
  const auto names = std::make_shared<std::vector<LiveRow>>(
      std::vector<LiveRow>{{"\xC3\xBC"}, {"a\xEF\xBF\xBF\n\xC3"}});
  sources.OfferTable("names", {{"Name"}, [names](const Question&) { return names; }});
  std::string done;
  sources.OfferAction("do", [&done](const ActionRequest& request) {
    done = std::string(request.Client()) + " " + std::string(request.Value()) + " " +
           std::string(request.Parameter("Where")) + " " + std::string(request.Parameter("How"));
    return request.Value() == "2" ? "Not twice." : "";
  });
  sources.OfferAction("other", [&done](const ActionRequest&) { return done = "other"; });
  Storage storage(folder_.Path() + "/actions.db", model);
  Settings settings(model, storage);
  Device device(settings, sources);
  const std::string kWhere = "02:00:00:12:34:56";
  const std::string kAlone = "must be set on its own";
  const struct {
    std::vector<std::pair<std::string, std::string>> batch;
    std::string answer;
    std::string done;
  } kCases[] = {
      {{{"Do", "1"}, {"Do.Where", kWhere}}, "/", "tester 1 " + kWhere + " "},
      {{{"Do.How", "abc"}, {"Do.Where", kWhere}, {"Do", "2"}},
       "//Not twice.",
       "tester 2 " + kWhere + " abc"},
      {{{"Do", "3"}, {"Do.Where", kWhere}}, "must be one of 1, 2/", ""},
      {{{"Do", "1"}, {"Do.Where", "x"}}, "/must be a MAC address such as 02:00:00:12:34:56", ""},
      {{{"Do", "1"}, {"Do.Where", kWhere}, {"Do.How", "a"}}, "//must be 2 to 3 characters", ""},
      {{{"Do", "1"}}, "needs Do.Where too", ""},
      {{{"Do", "1"}, {"Do.Where", kWhere}, {"Led", "0"}}, kAlone + "//", ""},
      {{{"Led", "0"}, {"Other", "1"}}, "/" + kAlone, ""},
      {{{"Do", "1"}, {"Do.Where", kWhere}, {"Other", "1"}}, kAlone + "//" + kAlone, ""},
      {{{"Other", "1"}, {"Do.Where", kWhere}}, kAlone + "/can only be set together with Do", ""},
      {{{"Do.Where", kWhere}}, "can only be set together with Do", ""},
      {{{"Led", "0"}, {"Do.How", ""}}, "/can only be set together with Do", ""},
      {{{"Do", "1"}, {"Do", "1"}, {"Do.Where", kWhere}}, "/is there twice/", ""},
      {{{"Do", "1"}, {"Do.Where", kWhere}, {"Foo", "1"}},
       kAlone + "//there is no such setting",
       ""},
  };
  for (const auto& test : kCases) {
    done.clear();
    EXPECT_EQ(SetOn(device, test.batch), test.answer) << test.batch.front().first;
    EXPECT_EQ(done, test.done) << test.answer;
    EXPECT_EQ(settings.Get("Led"), "1");
  }
  StringTable answer;
  EXPECT_TRUE(device.Query(StringTable("Names", StringTable::kQueryText), "", answer, problem_));
  EXPECT_EQ(TableText(answer), "\xC3\xBC/a?????");
  for (const char* query : {"Do", "Do.Where", "Do.How"}) {
    EXPECT_FALSE(device.Query(StringTable(query, StringTable::kQueryText), "", answer, problem_));
    EXPECT_EQ(problem_, "key '" + std::string(query) + "' can't be read");
  }
}

TEST_F(DeviceTest, StationsAreNamedAndAdded) {
  const std::string kName = "HomePlug.NameStation";
  const std::string kMac = "HomePlug.NameStation.MacAddress";
  const std::string kAdd = "HomePlug.AddStation";
  const std::string kKeller = "00:0B:3B:7F:01:08";
  const std::string kGarage = "00:0B:3B:7F:01:09";
  const std::string kOwn = "Keller, hinter der Waschmaschine";
  const std::string kHostile = "</td>${x}<~ \"&' \xC3\xBC {Role=local}; %41";
  const std::string kNone = "/There is no station with this address.";
  const struct {
    std::vector<std::pair<std::string, std::string>> batch;
    std::string answer;
    std::string names;  // of the cellar's and the garage's station afterwards
  } kCases[] = {
      {{{kMac, "00:0b:3b:7f:01:08"}, {kName, kHostile}}, "/", kHostile + "|"},
      {{{kMac, kKeller}, {kName, std::string(64, 'x')}},
       "/must be 0 to 63 characters",
       kHostile + "|"},
      {{{kMac, kKeller}, {kName, "a\nb"}}, "/must not hold control characters", kHostile + "|"},
      {{{kMac, "00:0B:3B:7F:01:01"}, {kName, "x"}},
       "/The name of this adapter is its device name in the settings.",
       kHostile + "|"},
      {{{kMac, "00:00:00:00:00:00"}, {kName, "x"}}, kNone, kHostile + "|"},
      {{{kMac, kGarage}, {kName, "x"}}, kNone, kHostile + "|"},
      {{{kAdd, "ABCD-EFGH"}}, "must be 19 characters", kHostile + "|"},
      {{{kAdd, "ABCD-EFGH-IJKL-MN<>"}},
       "must be four groups of four letters such as ABCD-EFGH-IJKL-MNOP",
       kHostile + "|"},
      {{{kAdd, "ABCD-EFGH-IJKL-MNOQ"}},
       "No adapter answers to this device password.",
       kHostile + "|"},
      {{{kAdd, "abcd-EFGH-ijkl-MNOP"}}, "", kHostile + "|Garage"},
      {{{kAdd, "ABCD-EFGH-IJKL-MNOP"}},
       "This adapter is in the network already.",
       kHostile + "|Garage"},
      {{{kMac, kGarage}, {kName, std::string(63, 'x')}},
       "/",
       kHostile + "|" + std::string(63, 'x')},
      {{{kMac, kKeller}, {kName, ""}}, "/", kOwn + "|" + std::string(63, 'x')},
      // What is kept for it is no setting.
      {{{"!station-added " + kGarage, ""}},
       "is not the name of a setting",
       kOwn + "|" + std::string(63, 'x')},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Set(test.batch), test.answer) << test.batch.back().second;
    EXPECT_EQ(TableText(Query("HomePlug.Stations{MacAddress=" + kKeller +
                              "}.Name;HomePlug.Stations{MacAddress=" + kGarage + "}.Name")),
              test.names);
  }
  EXPECT_EQ(Query("HomePlug.Stations").Rows(), Powerline::kStations + 1);
  EXPECT_EQ(Query("HomePlug.ToneMaps").Rows(), Powerline::kStations);
}

// What was told and set is forgotten; and nothing of it is ever told to the log.
TEST_F(DeviceTest, RestartsResetsAndTheirLog) {
  const std::string kKeys =
      "System.DeviceName;System.Uptime;HomePlug.Stations{Role=local}.Uptime;"
      "HomePlug.Stations{MacAddress=00:0B:3B:7F:01:08}.Name";
  const auto look = [&] {
    return TableText(Query(kKeys)) + " " + Query("HomePlug.Stations").Get(8, 2);
  };
  EXPECT_EQ(Set({{"System.DeviceName", "canary"}, {"HomePlug.NetworkPassword", "canary word"}}),
            "/");
  EXPECT_EQ(Set({{"System.DeviceName", "canary"}}), "");
  EXPECT_EQ(Set({{"System.DeviceName", "canary"}, {"System.Led", "0"}}), "/");
  EXPECT_EQ(Set({{"HomePlug.NameStation", "feather"},
                 {"HomePlug.NameStation.MacAddress", "00:0B:3B:7F:01:08"}}),
            "/");
  EXPECT_EQ(Set({{"HomePlug.AddStation", "QRST-UVWX-YZAB-CDEF"}}), "");
  steady_ += 60;
  EXPECT_EQ(look(), "canary|60|60|feather Garten <&> \"H\xC3\xBCtte\"");
  const std::string uptime = Query("HomePlug.Stations").Get(1, 6);
  // A configuration goes to other devices, and what was told about stations does not.
  const std::string exported = Query("System.ConfigShow:secrets=include").Get(0, 0);
  EXPECT_NE(exported.find("canary word"), std::string::npos);
  EXPECT_EQ(exported.find("feather"), std::string::npos);
  EXPECT_EQ(exported.find("00:0B:3B"), std::string::npos);
  folder_.Write("upload.bin", exported);
  EXPECT_EQ(Set({{"System.ConfigRestore", "check"}}), "");
  EXPECT_EQ(Set({{"System.Restart", "2"}}), "must be one of 1");
  EXPECT_EQ(TableText(Query("System.ConfigPending")), "1");
  const std::string file = Query("System.AutoConfigShow").Get(0, 0);
  EXPECT_EQ(access(file.c_str(), F_OK), 0);
  EXPECT_EQ(Set({{"System.Restart", "1"}}), "");
  EXPECT_EQ(TableText(Query("System.ConfigPending")), "0");
  EXPECT_NE(access(file.c_str(), F_OK), 0);
  EXPECT_EQ(look(), "canary|0|0|feather Garten <&> \"H\xC3\xBCtte\"");
  EXPECT_EQ(Query("HomePlug.Stations").Get(1, 6), uptime);
  now_ += 1;
  EXPECT_EQ(Set({{"System.FactoryReset", "1"}}), "");
  EXPECT_EQ(look(), "Vistel|0|0|Keller, hinter der Waschmaschine ");
  EXPECT_EQ(storage_.Get("HomePlug.NetworkPassword"), "HomePlugAV");
  EXPECT_EQ(TableText(Query("System.Log")),
            "2023-11-14 22:13:21|The device started with firmware 2.3.1-02./"
            "2023-11-14 22:13:21|All settings have their factory values again./"
            "2023-11-14 22:13:20|The device started with firmware 2.3.1-02./"
            "2023-11-14 22:13:20|Station 00:0B:3B:7F:01:0A was added./"
            "2023-11-14 22:13:20|Station 00:0B:3B:7F:01:08 was named./"
            "2023-11-14 22:13:20|Settings changed: System.Led./"
            "2023-11-14 22:13:20|Settings changed: System.DeviceName, HomePlug.NetworkPassword./"
            "2023-11-14 22:13:20|The device started with firmware 2.3.1-02.");
}

TEST_F(DeviceTest, KeysOfSomeClientsOnly) {
  ModelKey key = *model_.Find("System.Led");
  key.name = "Owner.Led";
  key.clients = {"Owner"};
  ASSERT_TRUE(model_.Add(key));
  EXPECT_EQ(Query("Owner.Led").Rows(), 0U);
  EXPECT_EQ(problem_, "key 'Owner.Led' is not open to this client");
  EXPECT_EQ(Set({{"Owner.Led", "1"}}), "is not open to this client");
}

TEST_F(DeviceTest, SourcesOfTheModelMustExist) {
  const struct {
    const char* key;
    const char* fault;
  } kCases[] = {
      {R"({"key": "a", "type": "text", "access": "read", "source": "x"})",
       "model, key 'a': there is no source 'x' of a single value"},
      {R"({"key": "a", "type": "table", "access": "read", "source": "x", "columns": [{"name": "c", "type": "text"}]})",
       "model, key 'a': there is no source 'x' of a table"},
      {R"({"key": "a", "type": "table", "access": "read", "source": "stations", "columns": [{"name": "c", "type": "text"}]})",
       "model, key 'a': source 'stations' has no column 'c'"},
      {R"({"key": "a", "type": "boolean", "access": "action", "action": "x"})",
       "model, key 'a': there is no action 'x'"},
  };
  for (const auto& test : kCases) {
    const Model model =
        ReadModel("m", R"({"device": "d", "version": 1, "keys": [)" + std::string(test.key) + "]}");
    std::string fault = "none";
    try {
      Settings settings(model, storage_);
      const Device device(settings, features_.All());
    } catch (const StartFailure& failure) {
      fault = failure.what();
    }
    EXPECT_EQ(fault, test.fault);
  }
}

TEST_F(DeviceTest, PowerlineFollowsSeedAndClock) {
  const auto now = [this] { return now_; };
  const auto steady = [this] { return steady_; };
  const auto firmware = [] { return std::string(FirmwareUpdate::kBuiltInVersion); };
  const StationBook book(settings_);
  Powerline same(7, now, steady, book, firmware);
  Powerline other(8, now, steady, book, firmware);
  EXPECT_EQ(*powerline_.Stations(), *same.Stations());
  EXPECT_NE(*powerline_.Stations(), *other.Stations());
  const std::vector<LiveRow> before = *powerline_.Stations();
  // Somebody sets the clock back; no count knows.
  now_ -= 3600;
  steady_ += 60;
  const std::vector<LiveRow> after = *powerline_.Stations();
  EXPECT_NE(before, after);
  EXPECT_EQ(after, *same.Stations());
  EXPECT_EQ(powerline_.UptimeSeconds(), 60);
  EXPECT_EQ(after[0][6], "60");
  // Counters only grow.
  for (std::size_t station = 1; station < Powerline::kStations; ++station) {
    EXPECT_EQ(std::stoll(after[station][6]), std::stoll(before[station][6]) + 60);
    for (std::size_t column = 8; column < after[station].size(); ++column) {
      EXPECT_GE(std::stoll(after[station][column]), std::stoll(before[station][column]));
    }
  }
}

TEST_F(DeviceTest, PowerlineIsPlausible) {
  unsigned bad = 0;
  std::set<std::string> addresses;
  for (now_ = kStart; now_ < kStart + 3600; now_ += 300) {
    bad = 0;
    for (const LiveRow& row : *powerline_.Stations()) {
      addresses.insert(row[1]);
      if (row[0] == "local") continue;
      const unsigned long rate = std::stoul(row[3]);
      EXPECT_LE(rate, 200U);
      EXPECT_GE(rate, 1U);
      if (rate < 50) ++bad;
    }
    EXPECT_EQ(bad, 2U) << now_;
  }
  EXPECT_EQ(addresses.size(), Powerline::kStations);
  for (const LiveRow& row : *powerline_.ToneMaps()) {
    EXPECT_EQ(row[1].size(), Powerline::kCarriers);
    EXPECT_EQ(row[1].find_first_not_of("0123456789a"), std::string::npos);
    EXPECT_EQ(row[2].size(), Powerline::kCarriers);
  }
  const StringVector powers(',', powerline_.OutputPower());
  ASSERT_EQ(powers.size(), Powerline::kCarriers);
  for (const std::string& power : powers) EXPECT_LE(std::stoul(power), 512U);
  for (const double decibels : powerline_.Snr(1, false, now_)) {
    EXPECT_GE(decibels, 0.0);
    EXPECT_LE(decibels, 60.0);
  }
}

}  // namespace
