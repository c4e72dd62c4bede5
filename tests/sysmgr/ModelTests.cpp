// SPDX-License-Identifier: MIT
//
// Faulty models, and what values and rules of a model let through. Whole messages are compared.
#include <gtest/gtest.h>

#include <string>

#include "sysmgr/log/Failure.h"
#include "sysmgr/model/Check.h"
#include "sysmgr/model/ModelReader.h"

namespace {

// A model of the given keys and rules.
std::string ModelOf(const std::string& keys, const std::string& rules = "") {
  return R"({"device": "d", "version": 1, "keys": [)" + keys + R"(], "rules": [)" + rules + "]}";
}

std::string FaultOf(const std::string& text) {
  try {
    ReadModel("m", text);
    return "none";
  } catch (const StartFailure& failure) {
    return failure.what();
  }
}

const char kMode[] =
    R"({"key": "M", "type": "enumeration", "access": "read-write", "values": ["dhcp", "static"], "default": "dhcp"})";
const char kAddress[] =
    R"({"key": "A", "type": "ipv4", "access": "read-write", "optional": true, "default": ""})";

TEST(Model, TheProductsIsRight) {
  const Model model = ReadModelFile(VISTEL_TEST_MODEL);
  ASSERT_NE(model.Find("HomePlug.Stations"), nullptr);
  EXPECT_EQ(model.Find("HomePlug.Stations")->columns.front().name, "Role");
  EXPECT_EQ(model.Find("HomePlug.NetworkPassword")->access, Access::kWriteOnly);
  EXPECT_EQ(model.Rules().size(), 2U);
}

TEST(Model, FaultsAreNamed) {
  const struct {
    std::string text;
    std::string fault;
  } kCases[] = {
      {"{\n\"device\": \"d\",\n oops}",
       "model 'm', line 3: syntax error while parsing object key - invalid literal; last read: "
       "'\"d\",<U+000A> o'; expected string literal"},
      {"",
       "model 'm', line 1: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"[]", "model 'm': must be an object"},
      {R"({"device": "d"})", "model 'm': 'version' is missing"},
      {R"({"device": "d", "device": "e"})", "model 'm': an object has two members 'device'"},
      {R"({"device": "d", "version": 1, "keys": [], "extra": 0})",
       "model 'm': 'extra' is not known here"},
      {ModelOf(""), "model 'm': there are no keys"},
      {ModelOf("5"), "model 'm', key number 1: must be an object"},
      {ModelOf("{}"), "model 'm', key number 1: 'key' is missing"},
      {ModelOf(R"({"key": "a b"})"),
       "model 'm', key 'a b': a key is names of letters, digits, _ "
       "and -, with dots between them"},
      {ModelOf(R"({"key": "a", "type": "float", "access": "read"})"),
       "model 'm', key 'a': 'type' is 'float'; it must be one of text, integer, boolean, "
       "enumeration, mac, ipv4, password, table"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "rw"})"),
       "model 'm', key 'a': 'access' is 'rw'; it must be one of read, read-write, write-only, "
       "action, parameter"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "read-write"})"),
       "model 'm', key 'a': 'default' is missing"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "read-write", "default": "on"})"),
       "model 'm', key 'a': 'default' must be 0 or 1"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "read-write", "default": 1})"),
       "model 'm', key 'a': 'default' must be a text"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "read-write", "defualt": "1"})"),
       "model 'm', key 'a': 'defualt' is not known here"},
      {ModelOf(
           R"({"key": "a", "type": "integer", "access": "read-write", "minimum": 5, "maximum": 4, "default": "4"})"),
       "model 'm', key 'a': 'minimum' is above 'maximum'"},
      {ModelOf(
           R"({"key": "a", "type": "integer", "access": "read-write", "minimum": 0, "maximum": 18446744073709551615, "default": "4"})"),
       "model 'm', key 'a': 'maximum' must be a whole number"},
      {ModelOf(
           R"({"key": "a", "type": "integer", "access": "read-write", "minimum": 1, "maximum": 4, "default": "5"})"),
       "model 'm', key 'a': 'default' must be a whole number from 1 to 4"},
      {ModelOf(
           R"({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 65537, "default": "x"})"),
       "model 'm', key 'a': 'maximum' is above 65536"},
      {ModelOf(
           R"({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 9, "pattern": "(", "pattern-help": "h", "default": "x"})"),
       "model 'm', key 'a': 'pattern' is no regular expression: Unmatched ( or \\("},
      {ModelOf(
           R"({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 9, "pattern": "a)|(b", "pattern-help": "h", "default": "a"})"),
       "model 'm', key 'a': 'pattern' is no regular expression: Unmatched ( or \\("},
      {ModelOf(
           R"j({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 9, "pattern": "a)|(b)", "pattern-help": "h", "default": "a"})j"),
       "model 'm', key 'a': 'pattern' is no regular expression: Unmatched )"},
      {ModelOf(
           R"j({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 9, "pattern": "[)]|\\)(b)", "pattern-help": "h", "default": ")"})j"),
       "none"},
      {ModelOf(
           R"({"key": "a", "type": "text", "access": "read-write", "minimum": 1, "maximum": 9, "pattern": "a", "pattern-help": "<b>", "default": "x"})"),
       "model 'm', key 'a': 'pattern-help' must not hold any of < > & \" '"},
      {ModelOf(R"({"key": "a", "type": "password", "access": "read-write"})"),
       "model 'm', key 'a': a password can't be read; its access is write-only"},
      {ModelOf(
           R"({"key": "a", "type": "enumeration", "access": "read-write", "values": ["x", "x"], "default": "x"})"),
       "model 'm', key 'a': 'x' is twice in 'values'"},
      {ModelOf(R"({"key": "a", "type": "table", "access": "read", "columns": []})"),
       "model 'm', key 'a': a table needs a 'source'"},
      {ModelOf(
           R"({"key": "a", "type": "table", "access": "read", "source": "s", "default": "x", "columns": []})"),
       "model 'm', key 'a': 'default' is not known here"},
      {ModelOf(
           R"({"key": "a", "type": "table", "access": "read", "source": "s", "columns": [{"name": "x.y", "type": "text"}]})"),
       "model 'm', key 'a': 'x.y' is no name of a column"},
      {ModelOf(R"({"key": "a", "type": "text", "access": "read-write", "source": "s"})"),
       "model 'm', key 'a': what comes from a source can only be read"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "action"})"),
       "model 'm', key 'a': 'action' is missing"},
      {ModelOf(
           R"({"key": "a", "type": "boolean", "access": "action", "action": "x", "default": ""})"),
       "model 'm', key 'a': what is not stored has no 'default'"},
      {ModelOf(R"({"key": "M.a", "type": "boolean", "access": "parameter"},)" + std::string(kMode)),
       "model 'm': key 'M.a' is a parameter, but what is before its last dot is no action"},
      {ModelOf(R"({"key": "a", "type": "boolean", "access": "parameter"})"),
       "model 'm': key 'a' is a parameter, but what is before its last dot is no action"},
      {ModelOf(
           R"({"key": "a", "type": "text", "access": "write-only", "minimum": 0, "maximum": 9, "shared": true, "default": ""})"),
       "model 'm', key 'a': only a setting that can be read is 'shared'"},
      {ModelOf(std::string(kMode) + "," + kMode), "model 'm': key 'M' is there twice"},
      {ModelOf(kMode, R"({"rule": "maybe", "keys": ["M"], "message": "no"})"),
       "model 'm', rule number 1: 'rule' is 'maybe'; it must be one of required, same-network"},
      {ModelOf(kMode, R"({"rule": "required", "keys": ["N"], "message": "no"})"),
       "model 'm', rule number 1: there is no key 'N'"},
      {ModelOf(kMode, R"({"rule": "same-network", "keys": ["M"], "message": "no"})"),
       "model 'm', rule number 1: 'keys' must be address, network mask and gateway"},
      {ModelOf(
           std::string(kMode) + "," + kAddress,
           R"({"rule": "required", "when": {"key": "M", "is": "auto"}, "keys": ["A"], "message": "no"})"),
       "model 'm', rule number 1: 'is' can never be true: M must be one of dhcp, static"},
      {ModelOf(
           std::string(kMode) + "," + kAddress,
           R"({"rule": "required", "when": {"key": "M", "is": "dhcp"}, "keys": ["A"], "message": "no address"})"),
       "model 'm', rule number 1: the default values break it: no address"},
  };
  for (const auto& test : kCases) EXPECT_EQ(FaultOf(test.text), test.fault) << test.text;
}

TEST(Model, EveryPrefixIsAFault) {
  const std::string text = ModelOf(std::string(kMode) + "," + kAddress,
                                   R"({"rule": "required", "keys": ["M"], "message": "no"})");
  ASSERT_EQ(FaultOf(text), "none");
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_EQ(FaultOf(text.substr(0, size)).rfind("model 'm', line 1: ", 0), 0U) << size;
  }
}

TEST(Check, Values) {
  const std::string kText = R"("type": "text", "minimum": 1, "maximum": 3, "default": "x")";
  const std::string kPattern =
      R"("type": "text", "minimum": 0, "maximum": 9, "pattern": "[a-z]+|", "pattern-help": "must be small letters", "default": "x")";
  const std::string kInteger =
      R"("type": "integer", "minimum": -5, "maximum": 100, "default": "1")";
  const std::string kBoolean = R"("type": "boolean", "default": "1")";
  const std::string kMac = R"("type": "mac", "default": "02:00:00:00:00:01")";
  const std::string kIpv4 = R"("type": "ipv4", "default": "10.0.0.1")";
  const std::string kOptional = R"("type": "ipv4", "optional": true, "default": "")";
  const std::string kMask = R"("type": "ipv4", "netmask": true, "default": "255.0.0.0")";
  const std::string kLength = "must be 1 to 3 characters";
  const std::string kNumber = "must be a whole number from -5 to 100";
  const std::string kMacWords = "must be a MAC address such as 02:00:00:12:34:56";
  const std::string kIpv4Words = "must be the IPv4 address of a device, such as 192.168.1.10";
  const std::string kMaskWords = "must be a network mask such as 255.255.255.0";
  const struct {
    std::string key;
    std::string value;
    std::string problem;
  } kCases[] = {
      {kText, "", kLength},
      {kText, "abc", ""},
      {kText, "abcd", kLength},
      {kText, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", ""},  // characters count, not bytes
      {kText, "a\xC3", "must be text in UTF-8"},
      {kText, "\xC0\x80", "must be text in UTF-8"},
      {kText, "\xED\xA0\x80", "must be text in UTF-8"},
      {kText, "\xF4\x90\x80\x80", "must be text in UTF-8"},
      {kText, "a\xEF\xBF\xBE", "must be text in UTF-8"},
      {kText, "\xEF\xBF\xBF", "must be text in UTF-8"},
      {kText, "\xEF\xBF\xBD\xEF\xBE\xBF", ""},
      {kText, std::string("a\0b", 3), "must not hold control characters"},
      {kText, "a\nb", "must not hold control characters"},
      {kText, "a\x7F", "must not hold control characters"},
      {kText, "a\xC2\x80", "must not hold control characters"},
      {kText, "\xC2\x9F", "must not hold control characters"},
      {kText, "\xC2\xA0\xC3\x9F", ""},  // the first character behind them, and another 0x9F
      {kText, "<&\"", ""},
      {kPattern, "abc", ""},
      {kPattern, "", ""},
      {kPattern, "abc1", "must be small letters"},
      {kInteger, "-5", ""},
      {kInteger, "100", ""},
      {kInteger, "101", kNumber},
      {kInteger, "-6", kNumber},
      {kInteger, "", kNumber},
      {kInteger, "5 ", kNumber},
      {kInteger, "+5", kNumber},
      {kInteger, "0x5", kNumber},
      {kInteger, "0", ""},
      {kInteger, "-0", kNumber},
      {kInteger, "005", kNumber},
      {kInteger, "-05", kNumber},
      {kInteger, "00", kNumber},
      {kInteger, "-", kNumber},
      {kInteger, "--5", kNumber},
      {R"("type": "integer", "minimum": 5, "maximum": 5, "default": "5")", "4", "must be 5"},
      {kInteger, std::string(100, '9'), kNumber},
      {kBoolean, "0", ""},
      {kBoolean, "true", "must be 0 or 1"},
      {kMac, "00:0b:3B:7f:01:02", ""},
      {kMac, "00:0b:3B:7f:01:0", kMacWords},
      {kMac, "00-0b-3B-7f-01-02", kMacWords},
      {kMac, "00:0g:3B:7f:01:02", kMacWords},
      {kIpv4, "192.168.1.1", ""},
      {kIpv4, "192.168.1.256", kIpv4Words},
      {kIpv4, "192.168.1", kIpv4Words},
      {kIpv4, "192.168.1.1.1", kIpv4Words},
      {kIpv4, "192.168.01.1", kIpv4Words},
      {kIpv4, "192.168.1.-1", kIpv4Words},
      {kIpv4, "127.0.0.1", kIpv4Words},
      {kIpv4, "0.0.0.0", kIpv4Words},
      {kIpv4, "224.0.0.1", kIpv4Words},
      {kIpv4, "", kIpv4Words},
      {kOptional, "", ""},
      {kMask, "255.255.255.0", ""},
      {kMask, "255.255.255.255", ""},
      {kMask, "255.0.255.0", kMaskWords},
      {kMask, "0.0.0.0", kMaskWords},
  };
  for (const auto& test : kCases) {
    const Model model =
        ReadModel("m", ModelOf(R"({"key": "k", "access": "read-write", )" + test.key + "}"));
    EXPECT_EQ(CheckValue(*model.Find("k"), test.value), test.problem) << test.value;
  }
}

TEST(Check, SameNetwork) {
  ModelRule rule;
  rule.kind = ModelRule::Kind::kSameNetwork;
  rule.keys = {"a", "m", "g"};
  rule.message = "no";
  const struct {
    const char* address;
    const char* mask;
    const char* gateway;
    const char* problem;
  } kCases[] = {
      {"192.168.1.5", "255.255.255.0", "192.168.1.1", ""},
      {"192.168.1.5", "255.255.255.0", "192.168.2.1", "no"},
      {"192.168.1.5", "255.255.0.0", "192.168.2.1", ""},
      {"192.168.1.5", "255.255.255.0", "192.168.1.5", "no"},
      {"192.168.1.0", "255.255.255.0", "192.168.1.1", "no"},
      {"192.168.1.5", "255.255.255.0", "192.168.1.255", "no"},
      {"192.168.1.4", "255.255.255.254", "192.168.1.5", ""},  // a network of two has no broadcast
      {"192.168.1.5", "", "192.168.2.1", ""},
  };
  for (const auto& test : kCases) {
    const auto valueOf = [&test](const std::string& key) {
      return std::string(key == "a" ? test.address : key == "m" ? test.mask : test.gateway);
    };
    EXPECT_EQ(CheckRule(rule, valueOf), test.problem) << test.address << " " << test.gateway;
  }
}

}  // namespace
