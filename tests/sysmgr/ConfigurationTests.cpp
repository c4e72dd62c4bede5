// SPDX-License-Identifier: MIT
//
// Configurations out and back in: nothing is lost on the way, and nothing that is not whole and
// right comes in.
#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <string>

#include "sysmgr/configuration/ConfigurationCipher.h"
#include "sysmgr/configuration/ConfigurationText.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/DeviceTest.h"

namespace {

std::string Utf8Of(unsigned code) {
  if (code < 0x80) return {static_cast<char>(code)};
  const auto tail = [code](unsigned shift) {
    return static_cast<char>(0x80 | (code >> shift & 63));
  };
  if (code < 0x800) return {static_cast<char>(0xC0 | code >> 6), tail(0)};
  if (code < 0x10000) return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
  return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

std::string Problems(std::string_view text) {
  const ConfigurationText::Parsed parsed = ConfigurationText::Read(text);
  std::string problems;
  for (const std::string& problem : parsed.problems.Told()) problems += problem + "|";
  return problems;
}

TEST(ConfigurationText, EveryValueComesBack) {
  ConfigurationText::Identity identity{"A & \"B\" <\xC3\xBC>", 7};
  Storage::Batch settings = {{"a.b", ""}, {"c", "  two blanks around  "}, {"d", "]]> &amp; %41"}};
  // Every character that a value may have, sixty-four in a value.
  for (unsigned code = ' '; code <= 0x10FFFF; ++code) {
    if ((code >= 0x7F && code < 0xA0) || (code >= 0xD800 && code < 0xE000)) continue;
    if (code == 0xFFFE || code == 0xFFFF) continue;
    // Some stand for the others, as many as a file can hold.
    if ((code >= 0x3000 && code < 0xD000) || (code >= 0x11000 && code < 0x10F000)) continue;
    if (code % 64 == 32) settings.emplace_back("k" + std::to_string(code), "");
    settings.back().second += Utf8Of(code);
  }
  const ConfigurationText::Parsed parsed =
      ConfigurationText::Read(ConfigurationText::Write(identity, settings));
  EXPECT_EQ(parsed.problems.Text(), "");
  EXPECT_EQ(parsed.identity.device, identity.device);
  EXPECT_EQ(parsed.identity.version, identity.version);
  EXPECT_EQ(parsed.settings, settings);
}

TEST(ConfigurationText, WhatIsWrongIsTold) {
  const std::string kHead = R"(<configuration format="1" device="d" model="1">)";
  const std::string kEnd = "</configuration>";
  std::string deep;
  for (unsigned i = 0; i < 10000; ++i) deep += "<a>";
  std::string many;
  for (unsigned i = 0; i <= ConfigurationText::kMaxSettings; ++i) many += "<setting key='a'/>";
  std::string strange;
  for (unsigned i = 0; i <= ConfigurationText::kMaxProblems; ++i) strange += "\nx";
  const struct {
    std::string text;
    std::string problems;
  } kCases[] = {
      {kHead + "<!-- fine --><?fine?>\n<setting key='a'>b<![CDATA[&]]></setting>" + kEnd, ""},
      {"", "The file is not a configuration.|"},
      {std::string(3, '\0'), "The file is not a configuration.|"},
      {"\n<configuration format='1", "line 2 is not well-formed XML|"},
      {kHead + "\n<setting key='a'>\xFF</setting>" + kEnd, "line 2 is not well-formed XML|"},
      {kHead + kEnd + "<more/>", "line 1 is not well-formed XML|"},
      {"<!DOCTYPE configuration [<!ENTITY a 'aaaa'><!ENTITY b '&a;&a;&a;'>]>" + kHead +
           "<setting key='a'>&b;</setting>" + kEnd,
       "line 1 holds a document type, which no configuration has|"},
      {"\n<!DOCTYPE c SYSTEM 'file:///etc/passwd'>" + kHead + kEnd,
       "line 2 holds a document type, which no configuration has|"},
      {kHead + "<setting key='a'>&b;</setting>" + kEnd, "line 1 is not well-formed XML|"},
      {kHead + deep, "line 1 holds too many elements inside each other|"},
      {kHead + many + kEnd, "The configuration holds more than 4096 settings.|"},
      {std::string(ConfigurationText::kMaxBytes + 1, ' '),
       "The configuration has more than 262144 bytes.|"},
      {kHead + strange + kEnd, "There are more than 1000 mistakes in the configuration.|"},
      {"<settings/>", "The file is not a configuration.|"},
      {"<configuration format='x' device='d' model='1'/>", "The file is not a configuration.|"},
      {"<configuration format='2' new='1'><new>",
       "The configuration is of format 2; this device knows format 1.|"},
      {"<configuration format='1' device='d' model='0'/>",
       "The configuration does not say which version of the model it is of.|"},
      {"<configuration format='1' device='d'/>",
       "The configuration does not say which version of the model it is of.|"},
      {kHead +
           "\n<setting>x</setting>\n<setting key='&lt;b&gt;'/>\n<setting key='a' type='b'/>\n"
           "<setting/>\n<b>\n</b>\ntext" +
           kEnd,
       "line 2 does not name a setting|line 3 does not name a setting|"
       "line 4 holds an unknown attribute|line 5 does not name a setting|line 6 holds an unknown "
       "element|line 8 holds text outside of settings|"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Problems(test.text), test.problems) << test.text.substr(0, 200);
  }
  const std::string whole = kHead + "<setting key='a'>b</setting>" + kEnd;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_NE(Problems(whole.substr(0, size)), "") << size;
  }
}

TEST(ConfigurationCipher, OnlyTheWholeFileOpens) {
  const std::string kPassword = "correct horse";
  ConfigurationCipher cipher;
  const std::string sealed = cipher.Seal("plain", kPassword);
  EXPECT_NE(cipher.Seal("plain", kPassword), sealed);
  const auto open = [](const std::string& file, const std::string& password) {
    Secret plain(std::string("left over"));
    const std::string problem = ConfigurationCipher::Open(file, password, plain);
    EXPECT_EQ(plain.Text(), problem.empty() ? "plain" : "");
    return problem;
  };
  EXPECT_EQ(open(sealed, kPassword), "");
  EXPECT_EQ(open(cipher.Seal("plain", "another password"), "another password"), "");
  const std::string kDamaged = "The password is wrong, or the file is damaged.";
  EXPECT_EQ(open(sealed, "correct horsf"), kDamaged);
  const std::size_t line = sealed.find('\n') + 1;
  EXPECT_EQ(sealed.substr(0, line), "vistel-configuration 1\n");
  for (std::size_t i = 0; i < sealed.size(); ++i) {
    std::string flipped = sealed;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    const std::string problem = open(flipped, kPassword);
    EXPECT_EQ(problem, i < line
                           ? "The enciphered file is of a format that this device does not know."
                           : kDamaged)
        << i;
    EXPECT_NE(open(sealed.substr(0, i), kPassword), "") << i;
  }
  EXPECT_EQ(open(sealed + "x", kPassword), kDamaged);
}

// The file of docs/configuration.md: whoever has kept one can still open it.
TEST(ConfigurationCipher, OldFilesOpen) {
  constexpr std::string_view kFile =
      "dmlzdGVsLWNvbmZpZ3VyYXRpb24gMQo/oNBlputSVnGpbwQrnRzYOWWkAds9WRPDC0dHr1MNwStC9HfWzbUovI7yJ0oh"
      "HyjJ8Lp8GKlLqATmWIvBEDxqo6uLyXT6dGdlg8AdyVSqYxBjt70CPn/8wFZfIDFifdy2+WZAIT8DTf36LBpv4AWlLRYh"
      "7/ndvlx5506wt9+g6jEZLif3q2oas5TrLY8TDF4vD33Nwi86E1aFAvA0PBq8cYohAfBL4xUCifCDSe1Y7mTDszCY5YRq"
      "YFY/mDGKVJOKpjkiKI2iql1yAhaN";
  std::array<unsigned char, kFile.size()> bytes{};
  std::size_t size = 0;
  ASSERT_EQ(sodium_base642bin(bytes.data(), bytes.size(), kFile.data(), kFile.size(), nullptr,
                              &size, nullptr, sodium_base64_VARIANT_ORIGINAL),
            0);
  const std::string file(bytes.begin(), bytes.begin() + size);
  Secret plain;
  ASSERT_EQ(ConfigurationCipher::Open(file, "correct horse", plain), "");
  const ConfigurationText::Parsed parsed = ConfigurationText::Read(plain.Text());
  EXPECT_EQ(parsed.settings, (Storage::Batch{{"System.Led", "0"}}));
}

class ConfigurationTest : public DeviceTest {
 protected:
  std::string Upload(const std::string& content) { return folder_.Write("upload.bin", content); }
  std::string Value(const std::string& key) { return TableText(Query(key)); }
  std::string Restore(const std::string& what) { return Set({{"System.ConfigRestore", what}}); }
  std::string All() { return Value("System.ConfigShow:secrets=include"); }

  static std::string Document(const std::string& settings, const std::string& model = "1") {
    return R"(<configuration format="1" device="Vistel" model=")" + model + "\">" + settings +
           "</configuration>";
  }
};

TEST_F(ConfigurationTest, Exports) {
  ASSERT_EQ(Set({{"System.DeviceName", "<Attic> & \"more\""},
                 {"HomePlug.NetworkPassword", "very secret"},
                 {"System.ConfigPassword", "even more so"}}),
            "//");
  EXPECT_EQ(Value("System.ConfigShow"),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<configuration format="1" device="Vistel" model="1">
  <setting key="System.DeviceName">&lt;Attic&gt; &amp; &quot;more&quot;</setting>
  <setting key="System.Led">1</setting>
  <setting key="System.PowerSave">1</setting>
  <setting key="System.TimeZone">Europe/Berlin</setting>
  <setting key="Network.Mode">dhcp</setting>
  <setting key="Network.Address"></setting>
  <setting key="Network.Netmask"></setting>
  <setting key="Network.Gateway"></setting>
  <setting key="HomePlug.NetworkName">HomePlug</setting>
</configuration>
)");
  EXPECT_NE(All().find("\"HomePlug.NetworkPassword\">very secret<"), std::string::npos);
  EXPECT_EQ(All().find("even more so"), std::string::npos);
  const std::string path = Value("System.AutoConfigShow");
  EXPECT_EQ(path.find(folder_.Path() + "/files/vistel-autoconfig-"), 0U) << path;
  EXPECT_EQ(ReadFile(path), R"(<?xml version="1.0" encoding="UTF-8"?>
<configuration format="1" device="Vistel" model="1">
  <setting key="System.Led">1</setting>
  <setting key="System.PowerSave">1</setting>
  <setting key="System.TimeZone">Europe/Berlin</setting>
  <setting key="HomePlug.NetworkName">HomePlug</setting>
</configuration>
)");
}

TEST_F(ConfigurationTest, EncipheredThereAndBack) {
  const std::string factory = All();
  ASSERT_EQ(Set({{"System.DeviceName", "Attic"},
                 {"HomePlug.NetworkPassword", "very secret"},
                 {"System.ConfigPassword", "even more so"}}),
            "//");
  EXPECT_EQ(Value("System.ConfigPasswordSet"), "1");
  const std::string changed = All();
  const std::string sealed = ReadFile(Value("System.ConfigShowCrypt"));
  EXPECT_EQ(sealed.find("Attic"), std::string::npos);
  Upload(factory);
  ASSERT_EQ(Restore("apply"), "");
  ASSERT_EQ(All(), factory);
  ASSERT_EQ(Set({{"System.ConfigPassword", ""}}), "");
  EXPECT_EQ(Value("System.ConfigPasswordSet"), "0");

  const std::string path = Upload(sealed);
  EXPECT_EQ(Restore("check"), "The file is enciphered: its password is needed.");
  EXPECT_NE(access(path.c_str(), F_OK), 0);
  const auto check = [this](const std::string& password) {
    return Set({{"System.ConfigRestore", "check"}, {"System.ConfigRestore.Password", password}});
  };
  Upload(sealed);
  EXPECT_EQ(check("some other"), "The password is wrong, or the file is damaged./");
  Upload(sealed);
  steady_ += Configuration::kRetrySeconds - 1;
  EXPECT_EQ(check("even more so"), "Wait a moment and try again./");
  steady_ += 1;
  EXPECT_EQ(check("even more so"), "/");
  EXPECT_EQ(TableText(Query("System.ConfigChanges")),
            "System.DeviceName|Vistel|Attic|0/HomePlug.NetworkPassword|||1");
  EXPECT_EQ(All(), factory);
  ASSERT_EQ(Restore("apply"), "");
  EXPECT_EQ(All(), changed);
  EXPECT_EQ(Value("System.ConfigPending"), "0");
}

// Another salt shows that the key was made again.
TEST_F(ConfigurationTest, KeysOfThePasswordAreForgotten) {
  const auto salt = [this] { return ReadFile(Value("System.ConfigShowCrypt")).substr(23, 16); };
  ASSERT_EQ(Set({{"System.ConfigPassword", "even more so"}}), "");
  const std::string first = salt();
  EXPECT_EQ(salt(), first);
  ASSERT_EQ(Set({{"System.Restart", "1"}}), "");
  const std::string second = salt();
  EXPECT_NE(second, first);
  ASSERT_EQ(Set({{"System.ConfigPassword", ""}}), "");
  ASSERT_EQ(Set({{"System.ConfigPassword", "even more so"}}), "");
  EXPECT_NE(salt(), second);
}

TEST_F(ConfigurationTest, WhatIsNotRightIsListedAndNotStored) {
  const struct {
    std::string text;
    std::string answer;
  } kCases[] = {
      {"<configuration format='1' device='Other' model='1'/>",
       "The configuration is one of another kind of device."},
      {Document("<setting key='System.Foo'/>", "2"),
       "The configuration is of version 2; this device knows version 1."},
      {Document(""), "The configuration holds no settings."},
      {Document("<setting key='System.DeviceName'>x</setting><setting key='Network.Mode'>static"
                "</setting>"),
       "A static address needs address, network mask and gateway."},
      {Document("<setting key='System.DeviceName'>x</setting><setting key='System.Led'>on</setting>"
                "<setting key='System.Led'>1</setting><setting key='System.Led'>1</setting>"
                "<setting key='System.Uptime'>5</setting><setting key='System.ConfigPassword'>"
                "12345678</setting><setting key='System.ConfigRestore'>apply</setting>\n<setting/>"
                "<setting key='System.TimeZone'>\n</setting><setting key='Foo.Bar'>1</setting>"),
       "line 2 does not name a setting; System.Led must be 0 or 1; System.Led is there twice; "
       "System.Uptime is not part of a configuration; System.ConfigPassword is not part of a "
       "configuration; System.ConfigRestore is not part of a configuration; System.TimeZone must "
       "not hold control characters; Foo.Bar is unknown"},
  };
  const std::string before = All();
  for (const auto& test : kCases) {
    for (const char* how : {"check", "apply"}) {
      const std::string path = Upload(test.text);
      EXPECT_EQ(Restore(how), test.answer);
      EXPECT_EQ(Value("System.ConfigPending"), "0");
      EXPECT_NE(access(path.c_str(), F_OK), 0);
    }
  }
  std::string many;
  for (unsigned i = 0; i < 2000; ++i) many += "<setting key='k" + std::to_string(i) + "'/>";
  Upload(Document(many));
  const std::string answer = Restore("check");
  EXPECT_LT(answer.size(), 1200U);
  const std::string kEnd = "; k49 is unknown; and 1950 more";
  EXPECT_EQ(answer.substr(answer.size() - kEnd.size()), kEnd);
  EXPECT_EQ(All(), before);
}

TEST_F(ConfigurationTest, PendingUntilItIsDroppedReplacedOrOld) {
  const std::string kName = "<setting key='System.DeviceName'>";
  EXPECT_EQ(Restore("apply"), "No file has been uploaded.");
  Upload(Document(kName + "a</setting>"));
  ASSERT_EQ(Restore("check"), "");
  EXPECT_EQ(Value("System.ConfigChanges"), "System.DeviceName|Vistel|a|0");
  Upload(Document(kName + "b</setting>"));
  ASSERT_EQ(Restore("check"), "");
  EXPECT_EQ(Value("System.ConfigChanges"), "System.DeviceName|Vistel|b|0");
  EXPECT_EQ(Restore("drop"), "");
  EXPECT_EQ(Value("System.ConfigPending"), "0");
  Upload(Document(kName + "c</setting>"));
  ASSERT_EQ(Restore("check"), "");
  steady_ += Configuration::kPendingSeconds;
  EXPECT_EQ(Value("System.ConfigPending"), "1");
  steady_ += 1;
  EXPECT_EQ(Value("System.ConfigPending"), "0");
  EXPECT_EQ(Value("System.ConfigChanges"), "");
  EXPECT_EQ(Restore("apply"), "No file has been uploaded.");
  // The rules are those of the moment when it is stored.
  Upload(Document("<setting key='Network.Address'></setting>"));
  ASSERT_EQ(Restore("check"), "");
  ASSERT_EQ(Set({{"Network.Mode", "static"},
                 {"Network.Address", "192.168.1.5"},
                 {"Network.Netmask", "255.255.255.0"},
                 {"Network.Gateway", "192.168.1.1"}}),
            "///");
  EXPECT_EQ(Restore("apply"), "A static address needs address, network mask and gateway.");
  EXPECT_EQ(Value("Network.CurrentAddress"), "192.168.1.5");
}

}  // namespace
