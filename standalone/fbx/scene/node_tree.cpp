#include "standalone/fbx/scene/node_tree.h"

#include "standalone/fbx/read_error.h"

namespace mirel::fbx {

using namespace fbxsdk;

namespace {

// A tree this deep is no scene, and whoever walks it by recursion would run out of stack.
constexpr int kDeepestNode = 1000;

}  // namespace

void NodeTree::set_parent(std::size_t child, std::size_t parent) {
  if (parents_[child] != kUnconnected) return;
  parents_[child] = parent;
  order_.push_back(child);
}

void NodeTree::check() const {
  // Depth of each node below the root or below a node without a parent; 0 is unknown.
  std::vector<int> depths(parents_.size(), 0);
  std::vector<std::size_t> path;
  for (std::size_t const start : order_) {
    path.clear();
    std::size_t node = start;
    while (node < parents_.size() && depths[node] == 0) {
      depths[node] = -1;
      path.push_back(node);
      node = parents_[node];
    }
    if (node < parents_.size() && depths[node] == -1) throw ReadError("The hierarchy of nodes is cyclic");
    int depth = node < parents_.size() ? depths[node] : 0;
    for (std::size_t k = path.size(); k-- > 0;) {
      depths[path[k]] = ++depth;
      if (depth > kDeepestNode) throw ReadError("The hierarchy of nodes is too deep");
    }
  }
}

void NodeTree::link(std::vector<FbxObject*> const& objects, FbxNode* root) const {
  check();
  for (std::size_t const child : order_) {
    FbxNode* const node = static_cast<FbxNode*>(objects[child]);
    FbxNode* const parent = parents_[child] == kNoObject ? root : static_cast<FbxNode*>(objects[parents_[child]]);
    Internals::data(*node).parent = parent;
    Internals::data(*parent).children.push_back(node);
  }
}

}  // namespace mirel::fbx
