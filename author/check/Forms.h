// SPDX-License-Identifier: MIT
//
// The forms of a page, compared with the model: which settings they make, and how.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>

#include "author/check/HtmlPage.h"
#include "author/check/Judges.h"
#include "author/check/Rendering.h"

// Collects what is wrong with fields over several renderings of a page. A rendering may show a
// field without its label, because it has chosen other alternatives; only what every rendering with
// that field shows is a finding.
class FormJudge {
 public:
  FormJudge(const Record& record, const DeviceModel& model);

  void Take(const HtmlPage& page, const Rendering& rendering);
  void Report(PassResult& result) const;

 private:
  // File, line and column, and the name, because an included file can give many fields.
  using Control = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, std::string>;

  const Record& record_;
  const DeviceModel& model_;
  std::set<std::string> read_;   // variables of the page
  std::set<std::string> given_;  // names of fields, in forms and links
  std::map<Control, std::set<Finding>> findings_;
};
