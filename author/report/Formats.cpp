// SPDX-License-Identifier: MIT
#include "author/report/Formats.h"

#include <nlohmann/json.hpp>

#include "author/report/Rules.h"
#include "base/Characters.h"
#include "base/Utf8.h"

namespace {

using nlohmann::json;

const char* SeverityOf(const Finding& finding) {
  const Rule* rule = FindRule(finding.rule);
  return rule != nullptr && rule->isError ? "error" : "warning";
}

// Templates may hold any bytes; JSON holds UTF-8 only.
std::string Dumped(const json& value, int indent) {
  return value.dump(indent, ' ', false, json::error_handler_t::replace) + "\n";
}

// A name from the root as a relative address.
std::string AddressOf(const std::string& file) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  constexpr std::string_view kPlain = "/-._~";
  std::string address;
  for (const char byte : file) {
    const auto code = static_cast<unsigned char>(byte);
    if (IsAsciiAlphanumeric(byte) || kPlain.find(byte) != kPlain.npos) {
      address += byte;
    } else {
      address.append({'%', kDigits[code >> 4], kDigits[code & 15]});
    }
  }
  return address;
}

}  // namespace

std::string AsText(const std::set<Finding>& findings, bool colours) {
  constexpr char kBold[] = "\x1b[1m";
  constexpr char kRed[] = "\x1b[31m";
  constexpr char kYellow[] = "\x1b[33m";
  constexpr char kPlain[] = "\x1b[0m";
  std::string text;
  for (const Finding& finding : findings) {
    const std::string severity = SeverityOf(finding);
    const char* const colour = severity == "error" ? kRed : kYellow;
    if (colours) text += kBold;
    Utf8::AppendSafe(text, finding.file);
    text += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": ";
    if (colours) text.append(kPlain).append(colour);
    text += severity + ":";
    if (colours) text += kPlain;
    text += " ";
    Utf8::AppendSafe(text, finding.message);
    text += " [" + finding.rule + "]\n";
  }
  return text;
}

std::string AsJson(const std::set<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings) {
    const json object = {{"file", finding.file},     {"line", finding.line},
                         {"column", finding.column}, {"severity", SeverityOf(finding)},
                         {"rule", finding.rule},     {"message", finding.message}};
    text += Dumped(object, -1);
  }
  return text;
}

std::string AsSarif(const std::set<Finding>& findings) {
  json rules = json::array();
  for (const Rule& rule : AllRules()) {
    rules.push_back({{"id", rule.name},
                     {"shortDescription", {{"text", rule.explanation}}},
                     {"defaultConfiguration", {{"level", rule.isError ? "error" : "warning"}}}});
  }
  json results = json::array();
  for (const Finding& finding : findings) {
    const json region = {{"startLine", finding.line}, {"startColumn", finding.column}};
    const json place = {
        {"artifactLocation", {{"uri", AddressOf(finding.file)}, {"uriBaseId", "ROOT"}}},
        {"region", region}};
    results.push_back({{"ruleId", finding.rule},
                       {"level", SeverityOf(finding)},
                       {"message", {{"text", finding.message}}},
                       {"locations", json::array({{{"physicalLocation", place}}})}});
  }
  const json driver = {{"name", "vistel"}, {"version", VISTEL_VERSION}, {"rules", rules}};
  const json run = {
      {"tool", {{"driver", driver}}}, {"columnKind", "unicodeCodePoints"}, {"results", results}};
  return Dumped({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                 {"version", "2.1.0"},
                 {"runs", json::array({run})}},
                2);
}
