// SPDX-License-Identifier: MIT
#include "author/check/Landing.h"

#include <algorithm>
#include <array>

#include "base/Characters.h"

namespace {

constexpr std::array<std::string_view, 14> kAddresses = {
    "href",     "src",    "action", "formaction", "cite",   "data",       "poster",
    "manifest", "srcset", "ping",   "background", "usemap", "xlink:href", "longdesc"};

bool IsAddress(std::string_view attribute) {
  return std::find(kAddresses.begin(), kAddresses.end(), attribute) != kAddresses.end();
}

// Whether it is the address, with other words before it, of a page that follows by itself.
bool IsRefresh(const GumboNode* element, std::string_view name) {
  return Html::IsElement(element, GUMBO_TAG_META) && name == "content" &&
         Html::Attribute(element, "http-equiv") != nullptr;
}

// Whether an address is a script. Browsers take it for one in spite of blanks before it.
bool IsScript(std::string_view address) {
  constexpr std::string_view kScheme = "javascript:";
  address.remove_prefix(std::min(address.size(), address.find_first_not_of(" \t\r\n\f")));
  return EqualIgnoringCase(address.substr(0, kScheme.size()), kScheme);
}

Landing LandingIn(const GumboNode* element, const GumboAttribute& attribute, std::size_t offset,
                  bool isXml) {
  const std::string_view name = attribute.name;
  const std::string_view original = Html::View(attribute.original_value);
  const char quote = original.empty() ? '\0' : original.front();
  if (!isXml && name.substr(0, 2) == "on") return Landing::kEvent;
  if (!isXml && name == "style") return Landing::kStyle;
  if (!isXml && name == "srcdoc") return Landing::kScript;
  if (quote != '"' && quote != '\'') return Landing::kUnquoted;
  if (!isXml && IsRefresh(element, name)) return Landing::kAddress;
  if (isXml || !IsAddress(name)) return Landing::kAttribute;
  if (offset == 0) return Landing::kAddressStart;
  return IsScript(attribute.value) ? Landing::kScriptAddress : Landing::kAddress;
}

Landing LandingInText(const GumboNode* node) {
  if (node->type == GUMBO_NODE_COMMENT || node->parent == nullptr) return Landing::kText;
  if (Html::IsElement(node->parent, GUMBO_TAG_SCRIPT)) return Landing::kScript;
  return Html::IsElement(node->parent, GUMBO_TAG_STYLE) ? Landing::kStyle : Landing::kText;
}

void AddElement(const GumboNode* node, bool isXml, std::vector<Landed>& landed) {
  for (const Mark& mark : MarksIn(Html::NameOf(node))) {
    landed.push_back({mark.spot, Landing::kTag});
  }
  const GumboVector& attributes = node->v.element.attributes;
  for (unsigned i = 0; i < attributes.length; ++i) {
    const auto& attribute = *static_cast<const GumboAttribute*>(attributes.data[i]);
    for (const Mark& mark : MarksIn(attribute.name)) {
      landed.push_back({mark.spot, Landing::kTag});
    }
    const std::string_view original = Html::View(attribute.original_value);
    for (const Mark& mark : MarksIn(attribute.value)) {
      landed.push_back({mark.spot, LandingIn(node, attribute, mark.offset, isXml),
                        original.substr(0, 1) == "\""});
    }
  }
}

// What to write there. Percent-encoded text is plain everywhere but in a tag.
std::string AdviceOf(const Spot& spot, Landing landing) {
  const bool html = spot.IsEscaped(Escaping::kHtml);
  const bool url = spot.IsEscaped(Escaping::kUrl);
  switch (landing) {
    case Landing::kText:
    case Landing::kAttribute:
      return html || url ? "" : "it needs htmltext (a query: neither raw nor json)";
    case Landing::kUnquoted:
      return url ? "" : "put the value into quotes";
    case Landing::kAddressStart:
      return url ? "" : "begin the address with text of your own, such as /?, and use htmlesc";
    case Landing::kAddress:
      return url ? "" : "it needs htmlesc";
    case Landing::kScriptAddress:
      return "no escaping is enough, browsers undo it there; write it into a data- attribute with "
             "htmltext";
    case Landing::kEvent:
    case Landing::kStyle:
    case Landing::kScript:
      return url ? "" : "no escaping is enough; write it into a data- attribute with htmltext";
    case Landing::kTag:
      return "no escaping is enough; choose one of some texts with if";
    case Landing::kJsonString:
      return spot.IsEscaped(Escaping::kJson) || url ? "" : "it needs json after the query's key";
    case Landing::kJsonValue:
      return "put it into quotes, with json after the query's key";
  }
  return "";
}

}  // namespace

std::vector<Landed> LandingsIn(const HtmlPage& page, bool isXml) {
  std::vector<Landed> landed;
  for (const GumboNode* node : page.Nodes()) {
    if (node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE) {
      AddElement(node, isXml, landed);
    } else if (node->type != GUMBO_NODE_DOCUMENT) {
      for (const Mark& mark : MarksIn(node->v.text.text)) {
        landed.push_back({mark.spot, LandingInText(node)});
      }
    }
  }
  return landed;
}

std::vector<Landed> LandingsInJson(const Rendering& rendering) {
  std::vector<Landed> landed;
  const std::string_view text = rendering.page;
  bool inString = false;
  std::size_t at = 0;
  for (const Mark& mark : MarksIn(text)) {
    for (; at < mark.offset; ++at) {
      if (inString && text[at] == '\\') {
        ++at;
      } else if (text[at] == '"') {
        inString = !inString;
      }
    }
    landed.push_back({mark.spot, inString ? Landing::kJsonString : Landing::kJsonValue});
  }
  return landed;
}

std::string_view NameOf(Landing landing) {
  switch (landing) {
    case Landing::kText:
      return "in text";
    case Landing::kAttribute:
      return "in an attribute";
    case Landing::kUnquoted:
      return "in an attribute without quotes";
    case Landing::kAddressStart:
      return "at the beginning of an address";
    case Landing::kAddress:
      return "in an address";
    case Landing::kScriptAddress:
      return "in an address that is a script";
    case Landing::kEvent:
      return "in a script of an attribute";
    case Landing::kStyle:
      return "in a style";
    case Landing::kScript:
      return "in a script";
    case Landing::kTag:
      return "in a tag";
    case Landing::kJsonString:
      return "in a JSON string";
    case Landing::kJsonValue:
      return "in JSON outside of a string";
  }
  return "";
}

std::string ProblemOf(const Spot& spot, const Landed& landed) {
  if (IsHarmless(spot.type) && landed.landing != Landing::kTag) return "";
  const std::string advice = AdviceOf(spot, landed.landing);
  if (advice.empty()) return "";
  return "'" + spot.name + "' can bring foreign text " + std::string(NameOf(landed.landing)) +
         ": " + advice;
}

std::string_view EndingSigns(const Landed& landed) {
  switch (landed.landing) {
    case Landing::kAttribute:
      return landed.inDoubleQuotes ? "\"" : "'";
    case Landing::kUnquoted:
      return " \t\n\"'>=`";
    case Landing::kEvent:
    case Landing::kScript:
      return "\"'\\<\n";
    case Landing::kJsonString:
      return "\"\\\n";
    default:
      return "";
  }
}
