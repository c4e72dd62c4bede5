// SPDX-License-Identifier: MIT
//
// A tree of named values, the form in which a service may be handed its configuration or answer a
// query. Programs that only ask never meet one; it is here because the service interface names it.
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
