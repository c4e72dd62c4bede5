// SPDX-License-Identifier: MIT
#include "author/check/HtmlPage.h"

#include <iterator>

namespace {

const GumboVector* ChildrenOf(const GumboNode* node) {
  if (node->type == GUMBO_NODE_DOCUMENT) return &node->v.document.children;
  const bool isElement = node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE;
  return isElement ? &node->v.element.children : nullptr;
}

}  // namespace

HtmlPage::HtmlPage(const Rendering& rendering)
    : output_(gumbo_parse_with_options(&kGumboDefaultOptions, rendering.page.data(),
                                       rendering.page.size())) {
  // Without recursion, because elements can be nested as deeply as anybody likes.
  std::vector<const GumboNode*> open = {output_->document};
  while (!open.empty()) {
    const GumboNode* const node = open.back();
    open.pop_back();
    nodes_.push_back(node);
    const GumboVector* const children = ChildrenOf(node);
    if (children == nullptr) continue;
    for (unsigned i = children->length; i > 0; --i) {
      open.push_back(static_cast<const GumboNode*>(children->data[i - 1]));
    }
  }
}

HtmlPage::~HtmlPage() {
  // The library frees a tree by recursion; a very deep one is left to the end of the process.
  constexpr std::size_t kMaxFreedNodes = 50000;
  if (nodes_.size() <= kMaxFreedNodes) gumbo_destroy_output(&kGumboDefaultOptions, output_);
}

namespace Html {

std::string_view NameOf(const GumboNode* node) {
  if (node->type != GUMBO_NODE_ELEMENT && node->type != GUMBO_NODE_TEMPLATE) return "";
  if (node->v.element.tag != GUMBO_TAG_UNKNOWN) {
    return gumbo_normalized_tagname(node->v.element.tag);
  }
  GumboStringPiece name = node->v.element.original_tag;
  gumbo_tag_from_original_text(&name);
  return View(name);
}

const char* Attribute(const GumboNode* element, const char* name) {
  const GumboAttribute* const found = gumbo_get_attribute(&element->v.element.attributes, name);
  return found != nullptr ? found->value : nullptr;
}

const GumboNode* Around(const GumboNode* node, GumboTag tag) {
  for (const GumboNode* at = node->parent; at != nullptr; at = at->parent) {
    if (IsElement(at, tag)) return at;
  }
  return nullptr;
}

bool IsElement(const GumboNode* node, GumboTag tag) {
  return node->type == GUMBO_NODE_ELEMENT && node->v.element.tag == tag;
}

}  // namespace Html
