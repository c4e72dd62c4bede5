// SPDX-License-Identifier: MIT
//
// A tree of named values: a service may get its configuration or answer a query in this form. It is
// here because the service interface names it; programs that only query don't use it.
#pragma once

#include <string>
#include <vector>

namespace Config {

struct Node {
  std::string name;
  std::string value;
  std::vector<Node> children;
};

class Tree {
 public:
  Node& Root() { return root_; }
  const Node& Root() const { return root_; }

 private:
  Node root_;
};

}  // namespace Config
