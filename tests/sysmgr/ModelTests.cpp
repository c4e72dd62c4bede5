// SPDX-License-Identifier: MIT
//
// Faulty models, and what values and rules of a model let through. Whole messages are compared.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sysmgr/model/Check.h"
#include "sysmgr/model/ModelReader.h"
#include "tests/sysmgr/Tables.h"

namespace {

std::string FaultOfModel(const std::string& text) {
  return FaultOf([&text] { ReadModel("m", text); });
}

const std::string kMode =
    KeyOf("M", "enumeration read-write, 'values': ['dhcp', 'static'], 'default': 'dhcp'");
const std::string kAddress = KeyOf("A", "ipv4 read-write, 'optional': true, 'default': ''");

TEST(Model, TheProductsIsRight) {
  const Model model = ReadModelFile(VISTEL_TEST_MODEL);
  ASSERT_NE(model.Find("HomePlug.Stations"), nullptr);
  EXPECT_EQ(model.Find("HomePlug.Stations")->columns.front().name, "Role");
  EXPECT_EQ(model.Find("HomePlug.NetworkPassword")->access, Access::kWriteOnly);
  EXPECT_EQ(model.Rules().size(), 2U);
}

TEST(Model, FaultyFiles) {
  EXPECT_EQ(
      FaultOfModel("{\n\"device\": \"d\",\n oops}"),
      "model 'm', line 3: syntax error while parsing object key - invalid literal; last read: "
      "'\"d\",<U+000A> o'; expected string literal");
  EXPECT_EQ(FaultOfModel(""),
            "model 'm', line 1: syntax error while parsing value - unexpected end of input; "
            "expected '[', '{', or a literal");
  for (const auto& row : Rows(R"(
      [] => : must be an object
      {"device": "d"} => : 'version' is missing
      {"device": "d", "device": "e"} => : an object has two members 'device'
      {"device": "d", "version": 1, "keys": [], "extra": 0} => : 'extra' is not known here
      {"device": "d", "version": 1, "keys": []} => : there are no keys
      {"device": "d", "version": 1, "keys": [5]} => , key number 1: must be an object
      {"device": "d", "version": 1, "keys": [{}]} => , key number 1: 'key' is missing
      {"device": "d", "version": 1, "keys": [{"key": "a b"}]}
        => , key 'a b': a key is names of letters, digits, _ and -, with dots between them
      )")) {
    EXPECT_EQ(FaultOfModel(row[0]), "model 'm'" + row.at(1)) << row[0];
  }
}

// Each row is the type and the access of key 'a', then its further members.
TEST(Model, FaultyKeys) {
  for (const auto& row : Rows(R"t(
      float read
        => 'type' is 'float'; it must be one of text, integer, boolean, enumeration, mac, ipv4, password, table
      boolean rw
        => 'access' is 'rw'; it must be one of read, read-write, write-only, action, parameter
      boolean read-write => 'default' is missing
      boolean read-write, "default": "on" => 'default': Choose 0 or 1.
      boolean read-write, "default": 1 => 'default' must be a text
      boolean read-write, "defualt": "1" => 'defualt' is not known here
      integer read-write, "minimum": 5, "maximum": 4, "default": "4" => 'minimum' is above 'maximum'
      integer read-write, "minimum": 0, "maximum": 18446744073709551615, "default": "4"
        => 'maximum' must be a whole number
      integer read-write, "minimum": 1, "maximum": 4, "default": "5"
        => 'default': Enter a whole number from 1 to 4.
      text read-write, "minimum": 1, "maximum": 65537, "default": "x" => 'maximum' is above 65536
      text read-write, "minimum": 1, "maximum": 9, "pattern": "(", "pattern-help": "h."
        => 'pattern' is no regular expression: Unmatched ( or \(
      text read-write, "minimum": 1, "maximum": 9, "pattern": "a)|(b", "pattern-help": "h."
        => 'pattern' is no regular expression: Unmatched ( or \(
      text read-write, "minimum": 1, "maximum": 9, "pattern": "a)|(b)", "pattern-help": "h."
        => 'pattern' is no regular expression: Unmatched )
      text read-write, "minimum": 1, "maximum": 9, "pattern": "[)]|\\)(b)", "pattern-help": "h."
        => 'default' is missing
      text read-write, "minimum": 1, "maximum": 9, "pattern": "a", "pattern-help": "<b>"
        => 'pattern-help' must not hold any of < > & " '
      text read-write, "minimum": 1, "maximum": 9, "pattern": "a", "pattern-help": "must be a"
        => 'pattern-help' must be a whole sentence
      enumeration read-write, "values": ["a\nb"] => 'values' must not hold control characters
      password read-write => a password can't be read; its access is write-only
      enumeration read-write, "values": ["x", "x"], "default": "x" => 'x' is twice in 'values'
      table read, "columns": [] => a table needs a 'source'
      table read, "source": "s", "default": "x", "columns": [] => 'default' is not known here
      table read, "source": "s", "columns": [{"name": "x.y", "type": "text"}]
        => 'x.y' is no name of a column
      text read-write, "source": "s" => what comes from a source can only be read
      boolean action => 'action' is missing
      boolean action, "action": "x", "default": "" => what is not stored has no 'default'
      text write-only, "minimum": 0, "maximum": 9, "shared": true
        => only a setting that can be read is 'shared'
      )t")) {
    EXPECT_EQ(FaultOfModel(ModelOf(KeyOf("a", row[0]))), "model 'm', key 'a': " + row.at(1))
        << row[0];
  }
}

// Keys that don't fit each other, and rules over two right ones.
TEST(Model, FaultyKeysTogether) {
  const std::string kDoesNotFit = "is a parameter, but what is before its last dot is no action";
  const std::string kParameter = KeyOf("M.a", "boolean parameter");
  EXPECT_EQ(FaultOfModel(ModelOf(kParameter + "," + kMode)), "model 'm': key 'M.a' " + kDoesNotFit);
  EXPECT_EQ(FaultOfModel(ModelOf(KeyOf("a", "boolean parameter"))),
            "model 'm': key 'a' " + kDoesNotFit);
  EXPECT_EQ(FaultOfModel(ModelOf(kMode + "," + kMode)), "model 'm': key 'M' is there twice");
  for (const auto& row : Rows(R"(
      "rule": "maybe", "keys": ["M"]
        => 'rule' is 'maybe'; it must be one of required, same-network
      "rule": "required", "keys": ["N"] => there is no key 'N'
      "rule": "same-network", "keys": ["M"] => 'keys' must be address, network mask and gateway
      "rule": "required", "when": {"key": "M", "is": "auto"}, "keys": ["A"]
        => 'is' can never be true: M: Choose dhcp or static.
      "rule": "required", "when": {"key": "M", "is": "dhcp"}, "keys": ["A"]
        => the default values break it: no.
      )")) {
    EXPECT_EQ(FaultOfModel(ModelOf(kMode + "," + kAddress, "{'message': 'no.', " + row[0] + "}")),
              "model 'm', rule number 1: " + row.at(1))
        << row[0];
  }
}

TEST(Model, EveryPrefixIsAFault) {
  const std::string text =
      ModelOf(kMode + "," + kAddress, "{'rule': 'required', 'keys': ['M'], 'message': 'no.'}");
  ASSERT_EQ(FaultOfModel(text), "none");
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_EQ(FaultOfModel(text.substr(0, size)).rfind("model 'm', line 1: ", 0), 0U) << size;
  }
}

void ExpectValues(const std::string& key, const std::vector<std::string>& right,
                  const std::string& problem, const std::vector<std::string>& wrong) {
  const Model model = ReadModel("m", ModelOf(KeyOf("k", key + ", 'action': 'x'")));
  const ModelKey& found = *model.Find("k");
  for (const std::string& value : right) EXPECT_TRUE(CheckValue(found, value).IsSuccess()) << value;
  const std::vector<std::string> known = SentencesOf(found);
  for (const std::string& value : wrong) {
    EXPECT_EQ(CheckValue(found, value).Text(), problem) << value;
    EXPECT_EQ(std::count(known.begin(), known.end(), problem), 1) << problem;
  }
}

TEST(Check, Values) {
  const std::string kText = "text action, 'minimum': 1, 'maximum': 3";
  // Characters count, not bytes.
  ExpectValues(kText, {"abc", "<&\"", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
               "Enter 1 to 3 characters.", {"", "abcd"});
  ExpectValues(
      kText, {"\xEF\xBF\xBD\xEF\xBE\xBF"}, "Enter text in UTF-8.",
      {"a\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "a\xEF\xBF\xBE", "\xEF\xBF\xBF"});
  // The first character after them, and another one with a 0x9F.
  ExpectValues(kText, {"\xC2\xA0\xC3\x9F"}, "Leave out the control characters.",
               {std::string("a\0b", 3), "a\nb", "a\x7F", "a\xC2\x80", "\xC2\x9F"});
  ExpectValues(
      "text action, 'minimum': 0, 'maximum': 9, 'pattern': '[a-z]+|', 'pattern-help': 'h.'",
      {"abc", ""}, "h.", {"abc1"});
  ExpectValues("integer action, 'minimum': -5, 'maximum': 100", {"-5", "0", "100"},
               "Enter a whole number from -5 to 100.",
               {"101", "-6", "", "5 ", "+5", "0x5", "-0", "005", "-05", "00", "-", "--5",
                std::string(100, '9')});
  ExpectValues("integer action, 'minimum': 5, 'maximum': 5", {"5"}, "Enter the number 5.", {"4"});
  ExpectValues("boolean action", {"0", "1"}, "Choose 0 or 1.", {"true"});
  ExpectValues("mac action", {"00:0b:3B:7f:01:02"},
               "Enter a MAC address such as 00:00:5E:00:53:01.",
               {"00:0b:3B:7f:01:0", "00-0b-3B-7f-01-02", "00:0g:3B:7f:01:02"});
  ExpectValues("ipv4 action", {"192.168.1.1"},
               "Enter the IPv4 address of a device, such as 192.168.1.10.",
               {"192.168.1.256", "192.168.1", "192.168.1.1.1", "192.168.01.1", "192.168.1.-1",
                "127.0.0.1", "0.0.0.0", "224.0.0.1", ""});
  ExpectValues("ipv4 action, 'optional': true", {""}, "", {});
  ExpectValues("ipv4 action, 'netmask': true", {"255.255.255.0", "255.255.255.255"},
               "Enter a network mask such as 255.255.255.0.", {"255.0.255.0", "0.0.0.0"});
}

TEST(Check, SameNetwork) {
  ModelRule rule;
  rule.kind = ModelRule::Kind::kSameNetwork;
  rule.keys = {"0", "1", "2"};
  rule.message = "no";
  for (const auto& row : Rows(R"(
      192.168.1.5 => 255.255.255.0   => 192.168.1.1 =>
      192.168.1.5 => 255.255.255.0   => 192.168.2.1 => no
      192.168.1.5 => 255.255.0.0     => 192.168.2.1 =>
      192.168.1.5 => 255.255.255.0   => 192.168.1.5 => no
      192.168.1.0 => 255.255.255.0   => 192.168.1.1 => no
      192.168.1.5 => 255.255.255.0   => 192.168.1.255 => no
      192.168.1.5 => 255.255.255.252 => 192.168.1.6 =>
      192.168.1.4 => 255.255.255.252 => 192.168.1.5 => no
      192.168.1.6 => 255.255.255.252 => 192.168.1.7 => no
      192.168.1.4 => 255.255.255.254 => 192.168.1.5 =>
      192.168.1.5 =>                 => 192.168.2.1 =>
      )")) {
    const auto valueOf = [&row](const std::string& key) { return row[std::stoul(key)]; };
    EXPECT_EQ(CheckRule(rule, valueOf).Text(), row.at(3)) << row[0] << " " << row[2];
  }
}

}  // namespace
