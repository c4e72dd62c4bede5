// SPDX-License-Identifier: MIT
#include "main/SettingsSubmission.h"

#include <iterator>
#include <string>
#include <string_view>

#include "platform/StringTable.h"
#include "query/SysMgr.h"
#include "values/WGLEscaper.h"
#include "values/WGLVariables.h"

namespace {

constexpr std::string_view kSettingPrefix = ":sys:";

void SetSafely(WGLVariables& variables, const std::string& name, const std::string& text) {
  variables.Set(WGLVariables::ReplaceSpecialChars(name), WGLEscaper("htmltext").Escape(text));
}

// Returns the number of errors.
unsigned SubmitBatch(WGLVariables& variables, const StringTable& keys, const StringTable& values) {
  const StringTable results = SysMgr_Set(keys, values);
  unsigned errors = 0;
  for (unsigned i = 0; i < keys.Rows(); ++i) {
    const std::string key = keys.Get(i, 0);
    SetSafely(variables, "_sys_" + key, values.Get(i, 0));
    const std::string error = results.Get(i, 0);
    if (error.empty()) continue;
    SetSafely(variables, "_error_" + key, error);
    ++errors;
  }
  const std::string batchError = results.Get(keys.Rows(), 0);
  if (!batchError.empty()) {
    SetSafely(variables, "_error_consistency", batchError);
    ++errors;
  }
  return errors;
}

// Replaces the form's own page by the next one that the form names.
void ApplyOkPage(WGLVariables& variables) {
  constexpr const char* kSelections[][2] = {
      {"_okdir", "_dir"}, {"_okpage", "_page"}, {"_okplain", "_plain"}, {"_oktype", "_type"}};
  std::string values[std::size(kSelections)];
  for (std::size_t i = 0; i < std::size(kSelections); ++i) {
    values[i] = variables.Get(kSelections[i][0], "");
  }
  for (std::size_t i = 0; i < std::size(kSelections); ++i) {
    if (!values[i].empty()) variables.Set(kSelections[i][1], values[i]);
  }
}

}  // namespace

void SubmitSettings(WGLVariables& variables) {
  StringTable keys(1);
  StringTable values(1);
  for (const auto& [name, value] : variables) {
    if (name.compare(0, kSettingPrefix.size(), kSettingPrefix) != 0) continue;
    keys.AddRow(name.c_str() + kSettingPrefix.size());
    values.AddRow(value.c_str());
  }
  const unsigned errors = keys.Rows() > 0 ? SubmitBatch(variables, keys, values) : 0;
  variables.Set("_errorcount", std::to_string(errors));
  if (errors == 0) ApplyOkPage(variables);
}
