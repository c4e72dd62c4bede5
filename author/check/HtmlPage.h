// SPDX-License-Identifier: MIT
//
// A page as a browser's parser sees it.
#pragma once

#include <gumbo.h>

#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "author/check/Rendering.h"

class HtmlPage {
 public:
  explicit HtmlPage(const Rendering& rendering);
  HtmlPage(const HtmlPage&) = delete;
  HtmlPage& operator=(const HtmlPage&) = delete;

  // All nodes in the order of the page. Valid as long as this object.
  const std::vector<const GumboNode*>& Nodes() const { return nodes_; }

 private:
  std::pmr::monotonic_buffer_resource memory_;  // of the library's tree, which needs no end then
  std::vector<const GumboNode*> nodes_;
};

namespace Html {

inline std::string_view View(const GumboStringPiece& piece) {
  return {piece.data, piece.length};
}

// "" for what is no element.
std::string_view NameOf(const GumboNode* node);

// Null when there is no such attribute.
const char* Attribute(const GumboNode* element, const char* name);

// The nearest element of that name around a node; null when there is none.
const GumboNode* Around(const GumboNode* node, GumboTag tag);

bool IsElement(const GumboNode* node, GumboTag tag);

}  // namespace Html
