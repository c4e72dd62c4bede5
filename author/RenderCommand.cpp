// SPDX-License-Identifier: MIT
#include "author/RenderCommand.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <string_view>

#include "author/Options.h"
#include "author/catalogue/CompiledCatalogues.h"
#include "author/model/DeviceModel.h"
#include "author/render/Canary.h"
#include "author/render/Environment.h"
#include "author/render/Values.h"
#include "author/system/Failure.h"
#include "author/system/Process.h"
#include "base/Settings.h"
#include "values/WGLEscaper.h"

namespace {

constexpr std::string_view kEndOfHeaders = "\r\n\r\n";

std::string Encoded(const std::string& text) {
  return WGLEscaper("htmlesc").Escape(text);
}

// Names that begin with "_" select pages; markup in them would only select none.
bool CarriesCanary(const std::string& name) {
  return !name.empty() && name[0] != '_' && name[0] != ':';
}

// A page without a slash is a word that selects a kind of response.
std::string QueryOf(const Options& options) {
  std::string query;
  const auto add = [&query](const std::string& field) {
    if (!query.empty() && !field.empty()) query += '&';
    query += field;
  };
  if (!options.files.empty()) {
    const std::string& page = options.files[0];
    const bool isPath = page.find('.') != std::string::npos && page[0] != '/';
    add("_file=" + Encoded((isPath ? "/" : "") + page));
  }
  add(options.query);
  for (const auto& [name, value] : options.fields) {
    const bool canary = options.canary && CarriesCanary(name);
    add(Encoded(name) + "=" + Encoded(canary ? value + CanaryOf(name) : value));
  }
  return query;
}

// Names each place where markup of a foreign text stands in the page. Returns whether there is one.
// In JSON, markup means nothing in a string that its quotes can't end.
bool ReportCanaries(std::string_view body, bool isJson) {
  std::set<std::string> reported;
  for (std::size_t i = body.find(kCanaryStart); i != std::string_view::npos;
       i = body.find(kCanaryStart, i + 1)) {
    const std::string_view rest = body.substr(i + sizeof kCanaryStart - 1);
    const std::string name(rest.substr(0, rest.find('>')));
    if (isJson && i > 1 && body.substr(i - 2, 2) == "\\\"") continue;
    const auto line = std::count(body.begin(), body.begin() + static_cast<long>(i), '\n') + 1;
    if (!reported.insert(name).second) continue;
    std::fprintf(stderr, "vistel: '%s' comes out raw, first in line %ld of the page\n",
                 name.c_str(), static_cast<long>(line));
  }
  return !reported.empty();
}

}  // namespace

int RenderPage(const Options& options) {
  if (options.files.size() > 1) throw Failure("render takes one page");
  // Mistakes in the values are reported even if the page queries none of them.
  const Values values(DeviceModel::Read(options.model), options.values);
  const CompiledCatalogues catalogues(options.locale);
  const auto set = [](const char* name, const std::string& value) { return name + ("=" + value); };
  const ProcessResult result = RunProcess(
      {ProgramBeside("vistel-render")},
      {set("REQUEST_METHOD", "GET"), set("QUERY_STRING", QueryOf(options)),
       set("HTTP_ACCEPT_LANGUAGE", options.language), set(RenderEnvironment::kRoot, gDocumentRoot),
       set(RenderEnvironment::kLocale, catalogues.Folder()),
       set(RenderEnvironment::kModel, options.model),
       set(RenderEnvironment::kValues, options.values),
       set(RenderEnvironment::kCanary, options.canary ? "1" : "")});
  std::string_view answer = result.output;
  const std::size_t end = answer.find(kEndOfHeaders);
  const std::string_view body = end == std::string_view::npos
                                    ? std::string_view()
                                    : answer.substr(end + kEndOfHeaders.size());
  const bool isJson = answer.substr(0, end).find("text/javascript") != std::string_view::npos;
  if (!options.headers) answer = body;
  std::fwrite(answer.data(), 1, answer.size(), stdout);
  std::fflush(stdout);
  const bool raw = options.canary && ReportCanaries(body, isJson);
  return result.status == 0 && raw ? 1 : result.status;
}
