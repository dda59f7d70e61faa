// Small FBX files for the tests: one tree of elements, written as text or as any form of the binary kind.
#pragma once

#include <fbxsdk.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace fbx_test {

// Lists are arrays of the binary kind.
using Item = std::variant<int, std::int64_t, double, std::string, std::vector<double>, std::vector<int>>;

struct Node {
  std::string name;
  std::vector<Item> values;
  std::vector<Node> children = {};
};

struct Form {
  int version = 7400;
  bool text = true;
  bool big_endian = false;
  bool deflate = false;
};

// Names are "Class::name" in the tree; the binary kind gets its own divider.
std::string write_file(std::vector<Node> const& nodes, Form const& form);

// Forms that every reader test goes through, each with words for a failure.
struct NamedForm {
  char const* name;
  Form form;
};
std::vector<NamedForm> all_forms(bool old_model);

// Parts of a scene of version 7.
Node property(std::string const& name, std::string const& type, std::vector<Item> values);
Node properties(std::vector<Node> list);
Node geometry(std::int64_t id, std::vector<double> points, std::vector<int> corners, std::vector<Node> more = {});
Node model(std::int64_t id, std::string const& name, std::vector<Node> properties_list = {});
Node connect(std::int64_t source, std::int64_t target);
Node connect(std::int64_t source, std::int64_t target, std::string const& property_name);
std::vector<Node> scene(std::vector<Node> objects, std::vector<Node> connections, std::vector<Node> settings = {});
Node leaf(std::string const& name, Item value);
Node layer_element(std::string const& type, int number, std::string const& mapping, std::string const& reference,
                   std::vector<Node> arrays);
Node layer(int number, std::vector<std::string> const& types, int typed_index = 0);

// A file read through the library's public classes.
class Loaded {
 public:
  explicit Loaded(std::string const& bytes);
  ~Loaded();
  Loaded(Loaded const&) = delete;
  Loaded& operator=(Loaded const&) = delete;

  bool ok = false;
  std::string error;
  fbxsdk::FbxManager* manager;
  fbxsdk::FbxImporter* importer;
  fbxsdk::FbxScene* scene;

  fbxsdk::FbxNode* child(int index) const { return scene->GetRootNode()->GetChild(index); }
  fbxsdk::FbxMesh* mesh(int node = 0, int attribute = 0) const;
  // The mesh as triangles, in its node.
  fbxsdk::FbxMesh* triangles(int node = 0, int attribute = 0) const;
};

}  // namespace fbx_test
