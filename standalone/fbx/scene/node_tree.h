// Which node hangs on which.
#pragma once

#include <vector>

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

// Nodes are told by their numbers among the document's objects.
class NodeTree {
 public:
  explicit NodeTree(std::size_t object_count = 0) : parents_(object_count, kUnconnected) {}

  // kNoObject: the root. A node has one parent: the first that it is given.
  void set_parent(std::size_t child, std::size_t parent);
  // Links the nodes, in the order in which they have got their parents; `objects` by number.
  // Throws ReadError when the tree is none, or too deep for whoever walks it.
  void link(std::vector<fbxsdk::FbxObject*> const& objects, fbxsdk::FbxNode* root) const;

 private:
  static constexpr std::size_t kUnconnected = kNoObject - 1;

  void check() const;

  std::vector<std::size_t> parents_;
  // Nodes with a parent, in the order of their connections.
  std::vector<std::size_t> order_;
};

}  // namespace mirel::fbx
