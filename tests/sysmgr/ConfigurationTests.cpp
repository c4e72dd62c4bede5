// SPDX-License-Identifier: MIT
//
// Configurations out and back in: nothing is lost on the way, and nothing that is not whole and
// right comes in.
#include <gtest/gtest.h>
#include <sodium.h>
#include <unistd.h>

#include <string>

#include "sysmgr/configuration/ConfigurationCipher.h"
#include "sysmgr/configuration/ConfigurationText.h"
#include "tests/sysmgr/DeviceTest.h"

namespace {

std::string Document(const std::string& settings,
                     const std::string& identity = "format='1' device='Vistel' model='1'") {
  return "<configuration " + identity + ">" + settings + "</configuration>";
}

std::string Setting(const std::string& key, const std::string& value) {
  return "<setting key='" + key + "'>" + value + "</setting>";
}

std::string Problems(const std::string& text) {
  const ConfigurationText::Parsed parsed = ConfigurationText::Read(text);
  std::string problems = parsed.outcome.Text();
  for (const Outcome& mistake : parsed.mistakes.Told()) problems += mistake.Record();
  return problems;
}

TEST(ConfigurationText, EveryValueComesBack) {
  const ConfigurationText::Identity identity{"A & \"B\" <\xC3\xBC>", 7};
  std::string every;
  for (char byte = ' '; byte <= '~'; ++byte) every += byte;
  const Storage::Batch settings = {
      {"a.b", ""},
      {"c", "  two blanks around  "},
      {"d", "]]> &amp; %41" + every + std::string(10000, 'x') + every},
      {"e",
       "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"}};
  const ConfigurationText::Parsed parsed =
      ConfigurationText::Read(ConfigurationText::Write(identity, settings));
  EXPECT_TRUE(parsed.outcome.IsSuccess() && parsed.mistakes.Count() == 0);
  EXPECT_EQ(parsed.identity.device, identity.device);
  EXPECT_EQ(parsed.identity.version, identity.version);
  EXPECT_EQ(parsed.settings, settings);
}

TEST(ConfigurationText, WhatIsWrongIsTold) {
  const auto expect = [](const std::string& text, const std::string& problems) {
    EXPECT_EQ(Problems(text), problems) << text.substr(0, 200);
  };
  const auto times = [](unsigned count, const std::string& text) {
    std::string many;
    for (unsigned i = 0; i < count; ++i) many += text;
    return many;
  };
  const std::string kNone = "The file is not a configuration.";
  const std::string kNoVersion =
      "The configuration does not say which version of the model it is of.";
  const std::string whole = Document(Setting("a", "b"));
  expect(Document("<!-- fine --><?fine?>\n" + Setting("a", "b<![CDATA[&]]>")), "");
  expect("", kNone);
  expect(std::string(3, '\0'), kNone);
  expect("\n<configuration format='1", "line 2: The file is not well-formed XML.");
  expect(Document("\n" + Setting("a", "\xFF")), "line 2: The file is not well-formed XML.");
  expect(whole + "<more/>", "line 1: The file is not well-formed XML.");
  expect(Document(Setting("a", "&b;")), "line 1: The file is not well-formed XML.");
  expect("<!DOCTYPE configuration [<!ENTITY a 'aaaa'><!ENTITY b '&a;&a;&a;'>]>" +
             Document(Setting("a", "&b;")),
         "line 1: The file holds a document type, which no configuration has.");
  expect("\n<!DOCTYPE c SYSTEM 'file:///etc/passwd'>" + whole,
         "line 2: The file holds a document type, which no configuration has.");
  expect(Document(times(10000, "<a>")), "line 1: There are too many elements inside each other.");
  expect(Document(times(ConfigurationText::kMaxSettings + 1, "<setting key='a'/>")),
         "The configuration holds too many settings.");
  expect(std::string(ConfigurationText::kMaxBytes + 1, ' '), "The uploaded file is too large.");
  expect(Document(times(ConfigurationText::kMaxProblems + 1, "\nx")),
         "There are too many mistakes in the configuration.");
  expect("<settings/>", kNone);
  expect(Document("", "format='x' device='d' model='1'"), kNone);
  expect("<configuration format='2' new='1'><new>",
         "The configuration is of a newer format than this device knows.");
  expect(Document("", "format='1' device='d' model='0'"), kNoVersion);
  expect(Document("", "format='1' device='d'"), kNoVersion);
  expect(
      Document("\n<setting>x</setting>\n<setting key='&lt;b&gt;'/>\n<setting key='a' type='b'/>\n"
               "<setting/>\n<b>\n</b>\ntext"),
      "line 2: This element does not name a setting.line 3: This element does not name a setting."
      "line 4: This attribute is unknown.line 5: This element does not name a setting."
      "line 6: This element is unknown.line 8: There is text outside of settings.");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_NE(Problems(whole.substr(0, size)), "") << size;
  }
}

TEST(ConfigurationCipher, OnlyTheWholeFileOpens) {
  const std::string kPassword = "correct horse";
  const std::string kDamaged = "The password is wrong, or the file is damaged.";
  const std::string kLine = "vistel-configuration 1\n";
  const auto open = [](const std::string& file, const std::string& password) {
    Secret plain(std::string("left over"));
    const std::string problem = ConfigurationCipher::Open(file, password, plain).Text();
    EXPECT_EQ(plain.Text(), problem.empty() ? "plain" : "");
    return problem;
  };
  ConfigurationCipher cipher;
  const auto seal = [&cipher](const std::string& password) {
    std::string file;
    EXPECT_TRUE(cipher.Seal("plain", password, file).IsSuccess());
    return file;
  };
  const std::string sealed = seal(kPassword);
  EXPECT_EQ(sealed.substr(0, kLine.size()), kLine);
  EXPECT_NE(seal(kPassword), sealed);
  EXPECT_EQ(open(sealed, kPassword), "");
  EXPECT_EQ(open(seal("another password"), "another password"), "");
  EXPECT_EQ(open(sealed, "correct horsf"), kDamaged);
  EXPECT_EQ(open(sealed + "x", kPassword), kDamaged);
  for (std::size_t i = 0; i < sealed.size(); ++i) {
    std::string flipped = sealed;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    EXPECT_EQ(open(flipped, kPassword),
              i < kLine.size()
                  ? "The enciphered file is of a format that this device does not know."
                  : kDamaged)
        << i;
    EXPECT_NE(open(sealed.substr(0, i), kPassword), "") << i;
  }
}

// The file of docs/configuration.md: whoever has kept one can still open it.
TEST(ConfigurationCipher, OldFilesOpen) {
  constexpr std::string_view kFile =
      "dmlzdGVsLWNvbmZpZ3VyYXRpb24gMQo/oNBlputSVnGpbwQrnRzYOWWkAds9WRPDC0dHr1MNwStC9HfWzbUovI7yJ0oh"
      "HyjJ8Lp8GKlLqATmWIvBEDxqo6uLyXT6dGdlg8AdyVSqYxBjt70CPn/8wFZfIDFifdy2+WZAIT8DTf36LBpv4AWlLRYh"
      "7/ndvlx5506wt9+g6jEZLif3q2oas5TrLY8TDF4vD33Nwi86E1aFAvA0PBq8cYohAfBL4xUCifCDSe1Y7mTDszCY5YRq"
      "YFY/mDGKVJOKpjkiKI2iql1yAhaN";
  std::string file(kFile.size(), '\0');
  std::size_t size = 0;
  ASSERT_EQ(
      sodium_base642bin(reinterpret_cast<unsigned char*>(file.data()), file.size(), kFile.data(),
                        kFile.size(), nullptr, &size, nullptr, sodium_base64_VARIANT_ORIGINAL),
      0);
  Secret plain;
  ASSERT_TRUE(ConfigurationCipher::Open(file.substr(0, size), "correct horse", plain).IsSuccess());
  EXPECT_EQ(ConfigurationText::Read(plain.Text()).settings, (Storage::Batch{{"System.Led", "0"}}));
}

class ConfigurationTest : public DeviceTest {
 protected:
  // Uploads a file and sets what is to be done with it; it is gone afterwards.
  std::string Restore(const std::string& file, const std::string& how) {
    const std::string path = folder_.Write("upload.bin", file);
    std::string answer = Set("System.ConfigRestore=" + how);
    EXPECT_NE(access(path.c_str(), F_OK), 0);
    return answer;
  }
  std::string All() { return Get("System.ConfigShow:secrets=include"); }
};

TEST_F(ConfigurationTest, Exports) {
  ASSERT_EQ(Set("System.DeviceName=<Attic> & \"more\"|HomePlug.NetworkPassword=very secret|"
                "System.ConfigPassword=even more so"),
            "//");
  const std::string kHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<configuration format="1" device="Vistel" model="1">
)";
  const std::string kShared = R"(  <setting key="System.Led">1</setting>
  <setting key="System.PowerSave">1</setting>
  <setting key="System.TimeZone">Europe/Berlin</setting>
)";
  const std::string kEnd = R"(  <setting key="HomePlug.NetworkName">HomePlug</setting>
</configuration>
)";
  EXPECT_EQ(Get("System.ConfigShow"),
            kHead +
                R"(  <setting key="System.DeviceName">&lt;Attic&gt; &amp; &quot;more&quot;</setting>
)" + kShared + R"(  <setting key="Network.Mode">dhcp</setting>
  <setting key="Network.Address"></setting>
  <setting key="Network.Netmask"></setting>
  <setting key="Network.Gateway"></setting>
)" + kEnd);
  EXPECT_NE(All().find("\"HomePlug.NetworkPassword\">very secret<"), std::string::npos);
  EXPECT_EQ(All().find("even more so"), std::string::npos);
  const std::string path = Get("System.AutoConfigShow");
  EXPECT_EQ(path.find(folder_.Path("files/vistel-autoconfig-")), 0U) << path;
  EXPECT_EQ(ReadFile(path), kHead + kShared + kEnd);
}

TEST_F(ConfigurationTest, EncipheredThereAndBack) {
  const auto sealed = [this] { return ReadFile(Get("System.ConfigShowCrypt")); };
  const auto salt = [&sealed] { return sealed().substr(23, 16); };
  const std::string factory = All();
  ASSERT_EQ(Set("System.DeviceName=Attic|HomePlug.NetworkPassword=very secret|"
                "System.ConfigPassword=even more so"),
            "//");
  const std::string changed = All();
  const std::string file = sealed();
  EXPECT_EQ(file.find("Attic"), std::string::npos);
  // The key is made once, and forgotten when the device restarts or the password changes: another
  // salt shows that it was made again.
  const std::string first = salt();
  EXPECT_EQ(salt(), first);
  Expect("System.ConfigPasswordSet => 1 \n set System.Restart=1 =>");
  const std::string second = salt();
  EXPECT_NE(second, first);
  Expect(R"(
      set System.ConfigPassword= =>
      set System.ConfigPassword=even more so =>
      )");
  EXPECT_NE(salt(), second);
  ASSERT_EQ(Restore(factory, "apply"), "");
  ASSERT_EQ(All(), factory);
  Expect("set System.ConfigPassword= => \n System.ConfigPasswordSet => 0");

  EXPECT_EQ(Restore(file, "check"), "The file is enciphered: its password is needed.");
  EXPECT_EQ(Restore(file, "check|System.ConfigRestore.Password=some other"),
            "The password is wrong, or the file is damaged./");
  const std::string check = "System.ConfigRestore=check|System.ConfigRestore.Password=even more so";
  folder_.Write("upload.bin", file);
  steady_ += Configuration::kRetrySeconds - 1;
  EXPECT_EQ(Set(check), "Wait a moment and try again./");
  steady_ += 1;
  EXPECT_EQ(Set(check), "/");
  EXPECT_EQ(Get("System.ConfigChanges"),
            "System.DeviceName|Vistel|Attic|0/HomePlug.NetworkPassword|||1");
  EXPECT_EQ(All(), factory);
  Expect("set System.ConfigRestore=apply => \n System.ConfigPending => 0");
  EXPECT_EQ(All(), changed);
}

TEST_F(ConfigurationTest, WhatIsNotRightIsListedAndNotStored) {
  std::string many;
  for (unsigned i = 0; i < 2000; ++i) many += Setting("k" + std::to_string(i), "");
  const std::string before = All();
  const std::string kMistakes = "There are mistakes in the configuration.";
  const auto expect = [this](const std::string& file, const std::string& answer,
                             const std::string& mistakes = "") {
    for (const char* how : {"check", "apply"}) {
      EXPECT_EQ(Restore(file, how), answer);
      EXPECT_EQ(Get("System.ConfigMistakes"), mistakes);
      EXPECT_EQ(Get("System.ConfigPending"), "0");
    }
  };
  expect(Document("", "format='1' device='Other' model='1'"),
         "The configuration is one of another kind of device.");
  expect(Document(Setting("System.Foo", ""), "format='1' device='Vistel' model='2'"),
         "The configuration is of a newer version than this device knows.");
  expect(Document(""), "The configuration holds no settings.");
  expect(Document(Setting("System.DeviceName", "x") + Setting("Network.Mode", "static")),
         "A static address needs address, network mask and gateway.");
  expect(Document(Setting("System.DeviceName", "x") + Setting("System.Led", "on") +
                  Setting("System.Led", "1") + Setting("System.Led", "1") +
                  Setting("System.Uptime", "5") + Setting("System.ConfigPassword", "12345678") +
                  Setting("System.ConfigRestore", "apply") + "\n<setting/>" +
                  Setting("System.TimeZone", "\n") + Setting("Foo.Bar", "1")),
         kMistakes,
         "1|2||This element does not name a setting./2||System.Led|Choose 0 or 1./"
         "3||System.Led|This setting is there twice./"
         "4||System.Uptime|This setting is not part of a configuration./"
         "5||System.ConfigPassword|This setting is not part of a configuration./"
         "6||System.ConfigRestore|This setting is not part of a configuration./"
         "7||System.TimeZone|Leave out the control characters./"
         "8||Foo.Bar|There is no such setting.");
  expect(Document("<x/>" + Setting("Network.Mode", "static")), kMistakes,
         "1|1||This element is unknown./"
         "2|||A static address needs address, network mask and gateway.");
  EXPECT_EQ(Restore(Document(many), "check"), kMistakes);
  Expect(R"(
      System.ConfigMistakes{Number=50} => 50||k49|There is no such setting.
      System.ConfigMistakes{Number=51} =>
      )");
  steady_ += Configuration::kPendingSeconds + 1;
  EXPECT_EQ(Get("System.ConfigMistakes"), "");
  EXPECT_EQ(All(), before);
}

TEST_F(ConfigurationTest, PendingUntilItIsDroppedReplacedOrOld) {
  const auto check = [this](const std::string& settings) {
    ASSERT_EQ(Restore(Document(settings), "check"), "");
  };
  Expect("set System.ConfigRestore=apply => No file has been uploaded.");
  check(Setting("System.DeviceName", "a"));
  Expect("System.ConfigChanges => System.DeviceName|Vistel|a|0");
  check(Setting("System.DeviceName", "b"));
  Expect(R"(
      System.ConfigChanges => System.DeviceName|Vistel|b|0
      set System.ConfigRestore=drop =>
      System.ConfigPending => 0
      )");
  check(Setting("System.DeviceName", "c"));
  steady_ += Configuration::kPendingSeconds;
  EXPECT_EQ(Get("System.ConfigPending"), "1");
  steady_ += 1;
  Expect(R"(
      System.ConfigPending => 0
      System.ConfigChanges =>
      set System.ConfigRestore=apply => No file has been uploaded.
      )");
  // The rules are those of the moment when it is stored.
  check(Setting("Network.Address", ""));
  Expect(R"(
      set Network.Mode=static|Network.Address=192.168.1.5|Network.Netmask=255.255.255.0|Network.Gateway=192.168.1.1
        => ///
      set System.ConfigRestore=apply => A static address needs address, network mask and gateway.
      Network.CurrentAddress => 192.168.1.5
      )");
}

}  // namespace
