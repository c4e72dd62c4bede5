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
#include "tests/sysmgr/DeviceTest.h"
#include "tests/sysmgr/Tables.h"

namespace {

TEST_F(DeviceTest, Queries) {
  EXPECT_EQ(Get(""), "[A query is a table of one column with a row for each key.]");
  Expect(R"(
      System.ProductName => Vistel Powerline Adapter
      System.DeviceName;System.Led => Vistel|1
      HomePlug.Stations{Role=local}.Name => Vistel
      HomePlug.Stations{Role=local} => local|00:0B:3B:7F:01:01|Vistel|||2.3.1-02|0||||
      HomePlug.Stations{MacAddress=00:0b:3b:7f:01:03}.Name => <script>alert("powerline")</script>
      HomePlug.Stations{Role=remote,MacAddress=00:0B:3B:7F:01:01}.Name =>
      HomePlug.Stations{Name=x%2CRole%3Dlocal%7D;System.DeviceName}.MacAddress =>
      HomePlug.Stations{Role=local}.Role:format=scalar => local
      HomePlug.Stations{Role=remote}.Role:format=scalar
        => remote,remote,remote,remote,remote,remote,remote
      System.Check{Key=System.Led,Value=on} => Choose 0 or 1.
      System.Check{Key=System.DeviceName} => Enter 1 to 63 characters.
      System.Check{Key=System.ConfigRestore.Password,Value=short} => Enter 8 to 64 characters.
      Network.Link;Network.CurrentAddress;Network.CurrentNetmask;Network.CurrentGateway
        => up|192.168.178.57|255.255.255.0|192.168.178.1
      System.Led;HomePlug.Stations{Role=remote}.Role;System.PowerSave
        => 1|remote|1/|remote|/|remote|/|remote|/|remote|/|remote|/|remote|
      Foo => [key 'Foo': There is no such key.]
      System.Led;Foo;System.Led => [key 'Foo': There is no such key.]
      System..Led=x => [key 'System..Led': The key is malformed.]
      HomePlug.NetworkPassword => [key 'HomePlug.NetworkPassword': The key cannot be read.]
      HomePlug.Stations{Foo=1} => [key 'HomePlug.Stations', 'Foo': There is no such column.]
      HomePlug.Stations{Role=local}.Foo => [key 'HomePlug.Stations', 'Foo': There is no such column.]
      System.Led{Role=local} => [key 'System.Led': The key is not a table.]
      System.Led:size=2 => [key 'System.Led', 'size': There is no such option.]
      System.Led:format=xml => [key 'System.Led', 'format': The option does not take this value.]
      HomePlug.SNR:format=scalar => [key 'HomePlug.SNR', 'MacAddress': A selector is missing.]
      HomePlug.SNR{MacAddress=00:0B:3B:7F:01:01} => [key 'HomePlug.SNR': There is no station with this address.]
      HomePlug.SNR{Role=local} => [key 'HomePlug.SNR', 'Role': There is no such selector.]
      System.Check{Value=1} => [key 'System.Check', 'Key': A selector is missing.]
      System.Check{Key=System.Led,Value=secret,More=secret}
        => [key 'System.Check', 'More': There is no such selector.]
      System.Check{Value=secret => [key 'System.Check': The key is malformed.]
      System.ConfigShow:secrets=1 => [key 'System.ConfigShow', 'secrets': The option does not take this value.]
      System.ConfigShowCrypt
        => [key 'System.ConfigShowCrypt': No password is set.]
      )");
  // What a template writes with htmlesc into a selector stays that selector's value.
  Expect(R"(
      HomePlug.Stations{Name=%22%3E%3Cimg%20src%3Dx%20onerror%3Dalert%281%29%3E}.MacAddress
        => 00:0B:3B:7F:01:07
      HomePlug.Stations{Name=B%C3%BCro%20Gr%C3%B6%C3%9Fe%2C%201%2E%20Stock%3B%20%7BRole%3Dlocal%7D}.MacAddress
        => 00:0B:3B:7F:01:05
      )");
  std::string many;
  std::string large;
  for (unsigned i = 0; i < Device::kMaxKeysPerRequest; ++i) {
    many += "System.Led;";
    large += "HomePlug.ToneMaps;";
  }
  EXPECT_EQ(Get(many + "System.Led"), "[There are more than 4096 keys.]");
  EXPECT_EQ(Get(large),
            "[key 'HomePlug.ToneMaps': The live values would be larger than 1048576 bytes.]");
}

// A batch, its answer, and the device's name, mode and address afterwards.
TEST_F(DeviceTest, Batches) {
  for (const auto& row : Rows(R"(
      System.DeviceName=a => => a|dhcp|
      System.DeviceName= => Enter 1 to 63 characters. => a|dhcp|
      System.DeviceName=b|System.Led=on => /Choose 0 or 1. => a|dhcp|
      System.DeviceName=b|Network.Mode=static
        => //A static address needs address, network mask and gateway. => a|dhcp|
      Network.Address=192.168.1.5|System.DeviceName=b => / => b|dhcp|192.168.1.5
      Network.Mode=static|Network.Netmask=255.255.255.0|Network.Gateway=10.0.0.1
        => ///Address and gateway must be different devices of one network. => b|dhcp|192.168.1.5
      Network.Mode=static|Network.Netmask=255.255.255.0|Network.Gateway=192.168.1.1
        => // => b|static|192.168.1.5
      Network.Address= => /A static address needs address, network mask and gateway.
        => b|static|192.168.1.5
      Network.Mode=dhcp|Network.Address= => / => b|dhcp|
      Foo=1 => There is no such setting. => b|dhcp|
      System.Uptime=1 => This value can only be read. => b|dhcp|
      HomePlug.Stations{Role=local}.Name=1 => This value can only be read. => b|dhcp|
      System.Led{A=1}=0 => A setting is set by its name alone. => b|dhcp|
      a b=1 => There is no such setting. => b|dhcp|
      System.DeviceName=x|System.DeviceName=y => /This setting is there twice. => b|dhcp|
      HomePlug.NetworkPassword=short => Enter 8 to 64 characters. => b|dhcp|
      HomePlug.NetworkPassword=long enough => => b|dhcp|
      )")) {
    EXPECT_EQ(Set(row[0]), row.at(1)) << row[0];
    EXPECT_EQ(Get("System.DeviceName;Network.Mode;Network.Address"), row.at(2)) << row[0];
  }
}

// An action stands alone with its own parameters, and is carried out once all of them are fine. A
// batch, its answer, and the names of the cellar's and the garage's station afterwards; as they
// were where none are given.
TEST_F(DeviceTest, Actions) {
  Powerline& powerline = process_->features.GetPowerline();
  std::string names = "Keller, hinter der Waschmaschine|";
  const auto expect = [&](const std::string& batch, const std::string& answer,
                          const std::string& namesAfter = "") {
    if (!namesAfter.empty()) names = namesAfter;
    EXPECT_EQ(Set(batch), answer) << batch;
    EXPECT_EQ(Get("HomePlug.Stations{MacAddress=00:0B:3B:7F:01:08}.Name;"
                  "HomePlug.Stations{MacAddress=00:0B:3B:7F:01:09}.Name"),
              names);
  };
  const std::string kName = "HomePlug.NameStation=";
  const std::string kMac = "|HomePlug.NameStation.MacAddress=";
  const std::string kCellar = kMac + "00:0B:3B:7F:01:08";
  const std::string kGarage = kMac + "00:0B:3B:7F:01:09";
  const std::string kAlone = "An action must be sent alone, with its own values only.";
  const std::string kTogether = "This value must be sent together with its action.";
  const std::string kHostile = "</td>${x}<~ \"&' \xC3\xBC {Role=local}; %41";
  const std::string kLong(63, 'x');
  expect(kName + "x" + kMac + "x", "/Enter a MAC address such as 00:00:5E:00:53:01.");
  expect(kName + "x", "A value that this action needs is missing.");
  expect(kName + "x" + kCellar + "|System.Led=0", kAlone + "//");
  expect(kName + "x" + kCellar + "|Foo=1", kAlone + "//There is no such setting.");
  expect(kName + "x" + kCellar + "|System.Restart=1", kAlone + "//" + kAlone);
  expect(kName + "x|" + kName + "x" + kCellar, "/This setting is there twice./");
  expect("System.Led=0|System.Restart=1", "/" + kAlone);
  expect("System.Restart=1" + kCellar, kAlone + "/" + kTogether);
  expect("System.Led=0" + kCellar, "/" + kTogether);
  expect("System.ConfigRestore=drop|System.ConfigRestore.Password=a", "/Enter 8 to 64 characters.");
  expect("System.ConfigRestore.Password=long enough|System.ConfigRestore=drop", "/");
  expect(kName + kHostile + kMac + "00:0b:3b:7f:01:08", "/", kHostile + "|");
  expect(kName + kLong + "x" + kCellar, "Enter at most 63 characters./");
  expect(kName + "a\nb" + kCellar, "Leave out the control characters./");
  expect(kName + "x" + kMac + "00:0B:3B:7F:01:01",
         "The name of this adapter is its device name in the settings./");
  expect(kName + "x" + kGarage, "There is no station with this address./");
  expect("HomePlug.NameStation.MacAddress=00:00:00:00:00:00|" + kName + "x",
         "/There is no station with this address.");
  expect("System.ConfigRestore=now", "Choose check, apply or drop.");
  expect("HomePlug.AddStation=ABCD-EFGH", "Enter 19 characters.");
  expect("HomePlug.AddStation=ABCD-EFGH-IJKL-MN<>",
         "Enter four groups of four letters such as ABCD-EFGH-IJKL-MNOP.");
  expect("HomePlug.AddStation=ABCD-EFGH-IJKL-MNOQ", "No adapter answers to this device password.");
  expect("HomePlug.AddStation=abcd-EFGH-ijkl-MNOP", "", kHostile + "|Garage");
  expect("HomePlug.AddStation=ABCD-EFGH-IJKL-MNOP", "This adapter is in the network already.");
  expect(kName + kLong + kGarage, "/", kHostile + "|" + kLong);
  expect(kName + kCellar, "/", "Keller, hinter der Waschmaschine|" + kLong);
  // What is kept of names is no setting; and were it nonsense, it would not reach a page.
  expect("!station-name 00:0B:3B:7F:01:08=x", "There is no such setting.");
  EXPECT_TRUE(storage_.Store({{"!station-name 00:0B:3B:7F:01:08", "\xC3\xBC \xEF\xBF\xBF\n\xC3"}})
                  .IsSuccess());
  expect("System.Led=1", "", "\xC3\xBC ?????|" + kLong);
  Expect(R"(
      HomePlug.AddStation => [key 'HomePlug.AddStation': The key cannot be read.]
      HomePlug.NameStation.MacAddress => [key 'HomePlug.NameStation.MacAddress': The key cannot be read.]
      )");
  EXPECT_EQ(powerline.Stations()->size(), Powerline::kStations + 1);
  EXPECT_EQ(powerline.ToneMaps()->size(), Powerline::kStations);
}

// What was told and set is forgotten; and nothing of it is ever told to the log.
TEST_F(DeviceTest, RestartsResetsAndTheirLog) {
  Powerline& powerline = process_->features.GetPowerline();
  const auto look = [this] {
    return Get(
        "System.DeviceName;System.Uptime;HomePlug.Stations{Role=local}.Uptime;"
        "HomePlug.Stations{MacAddress=00:0B:3B:7F:01:08}.Name;"
        "HomePlug.Stations{MacAddress=00:0B:3B:7F:01:0A}.Name");
  };
  Expect(R"(
      set System.DeviceName=canary|HomePlug.NetworkPassword=canary word => /
      set System.DeviceName=canary =>
      set System.DeviceName=canary|System.Led=0 => /
      set HomePlug.NameStation=feather|HomePlug.NameStation.MacAddress=00:0B:3B:7F:01:08 => /
      set HomePlug.AddStation=QRST-UVWX-YZAB-CDEF =>
      )");
  steady_ += 60;
  EXPECT_EQ(look(), "canary|60|60|feather|Garten <&> \"H\xC3\xBCtte\"");
  const std::string uptime = (*powerline.Stations())[1][6];
  // A configuration goes to other devices, and what was told about stations does not.
  const std::string exported = Get("System.ConfigShow:secrets=include");
  EXPECT_NE(exported.find("canary word"), std::string::npos);
  EXPECT_EQ(exported.find("feather"), std::string::npos);
  EXPECT_EQ(exported.find("00:0B:3B"), std::string::npos);
  folder_.Write("upload.bin", exported);
  Expect(R"(
      set System.ConfigRestore=check =>
      set System.Restart=2 => Choose 1.
      System.ConfigPending => 1
      )");
  const std::string file = Get("System.AutoConfigShow");
  EXPECT_EQ(access(file.c_str(), F_OK), 0);
  Expect("set System.Restart=1 => \n System.ConfigPending => 0");
  EXPECT_NE(access(file.c_str(), F_OK), 0);
  EXPECT_EQ(look(), "canary|0|0|feather|Garten <&> \"H\xC3\xBCtte\"");
  EXPECT_EQ((*powerline.Stations())[1][6], uptime);
  now_ += 1;
  EXPECT_EQ(Set("System.FactoryReset=1"), "");
  EXPECT_EQ(look(), "Vistel|0|0|Keller, hinter der Waschmaschine|");
  EXPECT_EQ(storage_.Get("HomePlug.NetworkPassword"), "HomePlugAV");
  EXPECT_EQ(Get("System.Log"),
            "2023-11-14 22:13:21|The device started with firmware 2.3.1-02./"
            "2023-11-14 22:13:21|All settings have their factory values again./"
            "2023-11-14 22:13:20|The device started with firmware 2.3.1-02./"
            "2023-11-14 22:13:20|Station 00:0B:3B:7F:01:0A was added./"
            "2023-11-14 22:13:20|Station 00:0B:3B:7F:01:08 was named./"
            "2023-11-14 22:13:20|Settings changed: System.Led./"
            "2023-11-14 22:13:20|Settings changed: System.DeviceName, HomePlug.NetworkPassword./"
            "2023-11-14 22:13:20|The device started with firmware 2.3.1-02.");
}

TEST(EventLog, KeepsTheLast) {
  std::int64_t now = 1795428000;
  EventLog log([&now] { return now++; });
  for (std::size_t i = 0; i < EventLog::kMaxEvents + 5; ++i) log.Add(std::to_string(i));
  const LiveRows rows = log.Events();
  ASSERT_EQ(rows->size(), EventLog::kMaxEvents);
  EXPECT_EQ(rows->front(), LiveRow({"2026-11-23 10:01:44", "104"}));
  EXPECT_EQ(rows->back()[1], "5");
  log.Add("a\nb\x9B" + std::string(1000, 'c'));
  EXPECT_EQ(log.Events()->front()[1], "a?b?" + std::string(396, 'c'));
  EXPECT_EQ(rows->front()[1], "104");
  log.AddNames("Changed", {"a", "b"});
  EXPECT_EQ(log.Events()->front()[1], "Changed: a, b.");
  log.AddNames("Changed", {std::string(350, 'a'), std::string(360, 'b'), "c"});
  EXPECT_EQ(log.Events()->front()[1], "Changed: " + std::string(350, 'a') + " and 2 more.");
}

TEST_F(DeviceTest, KeysOfSomeClientsOnly) {
  ModelKey key = *model_.Find("System.Led");
  key.name = "Owner.Led";
  key.clients = {"Owner"};
  ASSERT_TRUE(model_.Add(key));
  Expect(R"(
      Owner.Led => [key 'Owner.Led': This is not open to this client.]
      set Owner.Led=1 => This is not open to this client.
      )");
  folder_.Write("upload.bin",
                "<configuration format='1' device='Vistel' model='1'>"
                "<setting key='Owner.Led'>1</setting></configuration>");
  client_ = "Owner";
  Expect("set System.ConfigRestore=check => \n System.ConfigChanges => Owner.Led||1|0");
  client_ = "tester";
  Expect("System.ConfigPending => 1 \n System.ConfigChanges => ");
}

TEST_F(DeviceTest, SourcesOfTheModelMustExist) {
  for (const auto& row : Rows(R"(
      text read, "source": "x" => there is no source 'x' of a single value
      table read, "source": "x", "columns": [{"name": "c", "type": "text"}]
        => there is no source 'x' of a table
      table read, "source": "stations", "columns": [{"name": "c", "type": "text"}]
        => source 'stations' has no column 'c'
      boolean action, "action": "x" => there is no action 'x'
      )")) {
    const Model model = ReadModel("m", ModelOf(KeyOf("a", row[0])));
    Settings settings(model, storage_);
    EXPECT_EQ(FaultOf([&] { const Device device(settings, process_->features.All()); }),
              "model, key 'a': " + row.at(1));
  }
}

// The same second of the same seed looks the same, and such as a network does.
TEST_F(DeviceTest, Powerline) {
  Powerline& powerline = process_->features.GetPowerline();
  const StationBook book(process_->settings);
  const auto make = [&](std::uint64_t seed) {
    return Powerline(
        seed, [this] { return now_; }, [this] { return steady_; }, book, [] { return "1"; });
  };
  Powerline same = make(7);
  Powerline other = make(8);
  std::vector<LiveRow> before = *powerline.Stations();
  std::set<std::string> addresses;
  for (int minute = 1; minute < 12; ++minute) {
    // Somebody sets the clock back again and again; no count knows.
    now_ -= 300;
    steady_ += 60;
    const std::vector<LiveRow> rows = *powerline.Stations();
    EXPECT_EQ(powerline.UptimeSeconds(), 60 * minute);
    EXPECT_EQ(rows[0][6], std::to_string(60 * minute));
    unsigned bad = 0;
    for (std::size_t i = 1; i < rows.size(); ++i) {
      addresses.insert(rows[i][1]);
      const unsigned long rate = std::stoul(rows[i][3]);
      EXPECT_TRUE(rate >= 1 && rate <= 200) << rate;
      if (rate < 50) ++bad;
      EXPECT_EQ(std::stoll(rows[i][6]), std::stoll(before[i][6]) + 60);
      for (const std::size_t count : {8, 9, 10}) {
        EXPECT_GE(std::stoll(rows[i][count]), std::stoll(before[i][count]));
      }
    }
    EXPECT_EQ(bad, 2U);
    EXPECT_NE(rows, before);
    EXPECT_NE(rows[1][3] + rows[1][4] + rows[1][7],
              (*other.Stations())[1][3] + (*other.Stations())[1][4] + (*other.Stations())[1][7]);
    before = rows;
  }
  EXPECT_EQ(addresses.size(), Powerline::kStations - 1);
  EXPECT_EQ(*powerline.ToneMaps(), *same.ToneMaps());
  for (const LiveRow& row : *powerline.ToneMaps()) {
    for (const std::string& map : {row[1], row[2]}) {
      EXPECT_EQ(map.size(), Powerline::kCarriers);
      EXPECT_EQ(map.find_first_not_of("0123456789a"), std::string::npos);
    }
  }
  const StringVector powers(',', powerline.OutputPower());
  ASSERT_EQ(powers.size(), Powerline::kCarriers);
  for (const std::string& power : powers) EXPECT_LE(std::stoul(power), 512U);
  for (const double decibels : powerline.Snr(1, false, now_)) {
    EXPECT_TRUE(decibels >= 0 && decibels <= 60) << decibels;
  }
}

}  // namespace
