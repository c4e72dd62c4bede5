// SPDX-License-Identifier: MIT
#include "author/report/Rules.h"

#include "author/system/Failure.h"

namespace {

const std::vector<Rule> kRules = {
    {"syntax", true,
     "A command, a string or a sign that the language doesn't know: the page shows only the "
     "error.",
     "<~ set `a` \"Tom\" ~>", "<~ set `a` `Tom` ~>"},
    {"missing-include", true,
     "The file of an include isn't there, or is outside of the document root.",
     "<~ include `fot.wgl` ~>", "<~ include `foot.wgl` ~>"},
    {"recursive-include", true,
     "A file includes itself: both branches of an if run, so nothing ends it.",
     "in a.wgl: <~ include `a.wgl` ~>", "include another file"},
    {"include-argument", true, "An include as an argument is read as code.",
     "<~ set `x` <~ include `x.wgl` ~> ~>", "<~ set `x` `<~ include `x.wgl` ~>` ~>"},
    {"computed-include", false, "The request names the file of an include.",
     "<~ include `${_page}.wgl` ~>",
     "choose one of some names: <~ set `view` <~ if ${_page} eq `help` then `help` else `home` "
     "~> ~>"},
    {"unbalanced-file", false, "A file closes what another one opened, or leaves something open.",
     "a file that begins with ` ~>", "let each file close what it opens"},
    {"raw", false,
     "Text that a stranger can write stands where it can become part of the page, its scripts or "
     "its addresses.",
     "<p>${name}</p>", "<p>${name htmltext}</p>"},
    {"unset-variable", false,
     "Nothing sets this variable: no template before it, no form or link of the site, not the "
     "program.",
     "<~ set `name` `x` ~>${Name}", "<~ set `name` `x` ~>${name}"},
    {"unused-variable", false, "A variable is set, and nothing reads it.",
     "<~ set `nmae` `x` ~>${name}", "<~ set `name` `x` ~>${name}"},
    {"branch-set", false, "A set in a branch takes effect whether or not the condition holds.",
     "<~ if ${a} eq `1` then `<~ set `b` `x` ~>` ~>",
     "<~ set `b` <~ if ${a} eq `1` then `x` ~> ~>"},
    {"not-variable", false,
     "Only ${name}, ${name htmltext} and ${name htmlesc} are variables; other forms come out as "
     "they are.",
     "${ name} ${name html} ${first-name} ${1}", "${name htmltext}, or <~ get `first-name` ~>"},
    {"column", false, "A placeholder names a column that the answer has not.",
     "<~ query `System.DeviceName` do `${02}` ~>", "<~ query `System.DeviceName` do `${01}` ~>"},
    {"placeholder", false, "A placeholder outside of a do comes out as it is written.",
     "<p>${01}</p>", "<~ query `System.DeviceName` do `<p>${01}</p>` ~>"},
    {"cell-condition", false,
     "The text after do is evaluated once, before it is repeated: a condition or key in it sees "
     "the placeholder.",
     "<~ query `K` do `<~ if `${01}` eq `1` then `x` ~>` ~>", "select rows in the key: K{Name=1}"},
    {"unknown-key", false,
     "The model has no such key, column or selector: the query gives nothing.",
     "<~ query `System.DevceName` ~>", "<~ query `System.DeviceName` ~>"},
    {"unreadable-key", false, "The key can only be set: the query gives nothing.",
     "<~ query `HomePlug.NetworkPassword` ~>", "leave the field of a secret empty"},
    {"planted-key", false, "A request can put text into a query's key, and so ask for another key.",
     "<~ query `S{Name=${name}}` ~>", "<~ query `S{Name=${name htmlesc}}` ~>"},
    {"form-key", false, "A form sets what the model has not, or what can only be read.",
     "<input name=\":sys:System.Uptime\">", "<input name=\":sys:System.DeviceName\">"},
    {"form-option", false, "The model doesn't take this value.", "<option value=\"auto\">",
     "<option value=\"dhcp\">"},
    {"form-limit", false, "maxlength, min or max differ from the model's limits.",
     "maxlength=\"64\"", "maxlength=\"63\""},
    {"form-label", false, "A field has no label.", "<input id=\"a\">",
     "<label for=\"a\">Name</label><input id=\"a\">"},
    {"form-error", false, "A page with a setting never shows what is wrong with it.",
     "no ${_error_System_DeviceName htmltext}",
     "${_error_System_DeviceName htmltext} beside the field"},
    {"form-value", false, "After a refusal, a field forgets what was typed.",
     "value=\"<~ query `System.DeviceName` ~>\"", "read <~ get `:sys:System.DeviceName` ~> first"},
    {"form-okpage", false, "_okpage without _file: the program's own page comes instead.",
     "name=\"_okpage\" alone",
     "<input type=\"hidden\" name=\"_file\" value=\"/wgl/main.wgl\"> beside it"},
    {"form-checkbox", false, "A box that isn't ticked sends nothing, so it can't be switched off.",
     "<input type=\"checkbox\" name=\":sys:System.Led\" value=\"1\">",
     "<input type=\"hidden\" name=\":sys:System.Led\" value=\"0\"> before it"},
    {"untranslated", false,
     "A catalogue lacks a text, or a page shows the device's sentence itself.", "no msgid for it",
     "msgid and msgstr in each language's .po"},
    {"unused-translation", false, "A catalogue translates what no template asks for.",
     "a msgid of an old text", "remove it"},
    {"translation-markup", false,
     "A translation has other tags or placeholders than its text, or signs that end the place "
     "where it stands.",
     "msgstr \"<b>Wichtig\"", "msgstr \"<b>Wichtig</b>\""},
    {"empty-text", false, "The empty text's translation is the head of the catalogue.",
     "<~ trans `` ~>", "<~ if ${text} ne `` then <~ trans ${text} ~> ~>"},
    {"swallowed", false, "$ takes the next byte with it, which then has no meaning.", "`5 $`",
     "`5 &#36;`"},
    {"number", false, "gt, ge, lt and le compare numbers; any other text counts as 0.",
     "<~ if ${a} gt `b` then ...", "<~ if ${a} ne `b` then ..."},
};

}  // namespace

const std::vector<Rule>& AllRules() {
  return kRules;
}

const Rule* FindRule(std::string_view name) {
  for (const Rule& rule : AllRules()) {
    if (rule.name == name) return &rule;
  }
  return nullptr;
}

std::string Explain(const std::string& name) {
  const Rule* rule = FindRule(name);
  if (rule == nullptr) {
    std::string names;
    for (const Rule& each : AllRules()) names.append(names.empty() ? "" : ", ").append(each.name);
    throw Failure("there is no rule '" + name + "'; there are " + names);
  }
  return std::string(rule->name)
      .append(rule->isError ? " (error): " : " (warning): ")
      .append(rule->explanation)
      .append("\nwrong: ")
      .append(rule->wrong)
      .append("\nright: ")
      .append(rule->right)
      .append("\n");
}
