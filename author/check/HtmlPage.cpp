// SPDX-License-Identifier: MIT
#include "author/check/HtmlPage.h"

#include <cstddef>
#include <utility>

namespace {

const GumboVector* ChildrenOf(const GumboNode* node) {
  if (node->type == GUMBO_NODE_DOCUMENT) return &node->v.document.children;
  const bool isElement = node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE;
  return isElement ? &node->v.element.children : nullptr;
}

}  // namespace

void* HtmlMemory::Take(std::size_t size) {
  constexpr std::size_t kBlockBytes = std::size_t{1} << 16;
  constexpr std::size_t kAlignment = alignof(std::max_align_t);
  if (size > kBlockBytes) {
    large_.emplace_back(new char[size]);
    return large_.back().get();
  }
  const std::size_t taken = (size + kAlignment - 1) / kAlignment * kAlignment;
  if (taken > left_) {
    if (used_ == blocks_.size()) blocks_.emplace_back(new char[kBlockBytes]);
    next_ = blocks_[used_++].get();
    left_ = kBlockBytes;
  }
  left_ -= taken;
  return std::exchange(next_, next_ + taken);
}

void HtmlMemory::Reset() {
  large_.clear();
  used_ = 0;
  left_ = 0;
}

HtmlPage::HtmlPage(const Rendering& rendering, HtmlMemory& memory) {
  memory.Reset();
  GumboOptions options = kGumboDefaultOptions;
  options.allocator = [](void* blocks, std::size_t size) {
    return static_cast<HtmlMemory*>(blocks)->Take(size);
  };
  options.deallocator = [](void* /*blocks*/, void* /*block*/) {};
  options.userdata = &memory;
  options.max_errors = 0;
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
