// SPDX-License-Identifier: MIT
#include "author/check/HtmlPage.h"

#include <iterator>

namespace {

const GumboVector* ChildrenOf(const GumboNode* node) {
  if (node->type == GUMBO_NODE_DOCUMENT) return &node->v.document.children;
  const bool isElement = node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE;
  return isElement ? &node->v.element.children : nullptr;
}

void* Allocate(void* memory, std::size_t size) {
  return static_cast<std::pmr::memory_resource*>(memory)->allocate(size);
}

}  // namespace

HtmlPage::HtmlPage(const Rendering& rendering) {
  GumboOptions options = kGumboDefaultOptions;
  options.allocator = Allocate;
  options.deallocator = [](void* /*memory*/, void* /*block*/) {};
  options.userdata = static_cast<std::pmr::memory_resource*>(&memory_);
  const GumboOutput* const output =
      gumbo_parse_with_options(&options, rendering.page.data(), rendering.page.size());
  // Without recursion, because elements can be nested as deeply as anybody likes.
  std::vector<const GumboNode*> open = {output->document};
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
