// SPDX-License-Identifier: MIT
//
// A page as a browser's parser sees it.
#pragma once

#include <gumbo.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "author/check/Rendering.h"

// Of the library's trees, which are made of many small blocks that all end together.
class HtmlMemory {
 public:
  void* Take(std::size_t size);

  // All that was taken is free again.
  void Reset();

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  std::vector<std::unique_ptr<char[]>> large_;
  std::size_t used_ = 0;  // of the blocks
  char* next_ = nullptr;
  std::size_t left_ = 0;
};

class HtmlPage {
 public:
  // The memory is reset, and must not be used for anything else as long as the page is there.
  HtmlPage(const Rendering& rendering, HtmlMemory& memory);
  HtmlPage(const HtmlPage&) = delete;
  HtmlPage& operator=(const HtmlPage&) = delete;

  // All nodes in the order of the page. Valid as long as this object.
  const std::vector<const GumboNode*>& Nodes() const { return nodes_; }

 private:
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
