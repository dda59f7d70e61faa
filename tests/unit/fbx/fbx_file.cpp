#include "tests/unit/fbx/fbx_file.h"

#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace fbx_test {
namespace {

class BinaryWriter {
 public:
  explicit BinaryWriter(Form const& form) : form_(form) {}

  std::string file(std::vector<Node> const& nodes) {
    bytes_ = "Kaydara FBX Binary  ";
    bytes_.append("\0\x1a", 2);
    bytes_.push_back(form_.big_endian ? '\1' : '\0');
    number(static_cast<std::uint32_t>(form_.version));
    for (Node const& node : nodes) record(node);
    bytes_.append(head_size(), '\0');
    return bytes_;
  }

 private:
  std::size_t word_size() const { return form_.version >= 7500 ? 8 : 4; }
  std::size_t head_size() const { return 3 * word_size() + 1; }

  template <class T>
  std::string packed(T value) const {
    std::string text(sizeof value, '\0');
    std::memcpy(text.data(), &value, sizeof value);
    if (form_.big_endian) std::reverse(text.begin(), text.end());
    return text;
  }
  template <class T>
  void number(T value) {
    bytes_ += packed(value);
  }
  void set_word(std::size_t place, std::size_t value) {
    std::string const text =
        word_size() == 8 ? packed(static_cast<std::uint64_t>(value)) : packed(static_cast<std::uint32_t>(value));
    bytes_.replace(place, text.size(), text);
  }

  void record(Node const& node) {
    std::size_t const head = bytes_.size();
    bytes_.append(3 * word_size(), '\0');
    bytes_.push_back(static_cast<char>(node.name.size()));
    bytes_ += node.name;
    std::size_t const start = bytes_.size();
    for (Item const& value : node.values) {
      std::visit([&](auto const& one) { item(one); }, value);
    }
    set_word(head + word_size(), node.values.size());
    set_word(head + 2 * word_size(), bytes_.size() - start);
    for (Node const& child : node.children) record(child);
    if (!node.children.empty()) bytes_.append(head_size(), '\0');
    set_word(head, bytes_.size());
  }

  void item(int value) {
    bytes_.push_back('I');
    number(value);
  }
  void item(std::int64_t value) {
    bytes_.push_back('L');
    number(value);
  }
  void item(double value) {
    bytes_.push_back('D');
    number(value);
  }
  void item(std::string const& value) {
    std::string text = value;
    std::size_t const divider = value.find("::");
    if (divider != std::string::npos) {
      text = value.substr(divider + 2) + std::string("\0\1", 2) + value.substr(0, divider);
    }
    bytes_.push_back('S');
    number(static_cast<std::uint32_t>(text.size()));
    bytes_ += text;
  }
  template <class T>
  void item(std::vector<T> const& values) {
    std::string raw;
    for (T const value : values) raw += packed(value);
    bytes_.push_back(sizeof(T) == 8 ? 'd' : 'i');
    number(static_cast<std::uint32_t>(values.size()));
    number(static_cast<std::uint32_t>(form_.deflate ? 1 : 0));
    if (form_.deflate) {
      uLongf size = compressBound(static_cast<uLong>(raw.size()));
      std::string deflated(size, '\0');
      compress(reinterpret_cast<Bytef*>(deflated.data()), &size, reinterpret_cast<Bytef const*>(raw.data()),
               static_cast<uLong>(raw.size()));
      raw = deflated.substr(0, size);
    }
    number(static_cast<std::uint32_t>(raw.size()));
    bytes_ += raw;
  }

  Form form_;
  std::string bytes_;
};

class TextWriter {
 public:
  explicit TextWriter(int version) : version_(version) {}

  std::string file(std::vector<Node> const& nodes) {
    text_ = "; FBX " + std::to_string(version_ / 1000) + "." + std::to_string(version_ / 100 % 10) +
            ".0 project file\n; ----\n\n";
    for (Node const& node : nodes) write(node, 0);
    return text_;
  }

 private:
  void write(Node const& node, std::size_t depth) {
    std::string const indent(depth, '\t');
    text_ += indent;
    text_ += node.name;
    text_ += ": ";
    std::string array;
    char const* divider = "";
    for (Item const& value : node.values) {
      text_ += divider;
      divider = ", ";
      std::visit([&](auto const& one) { item(one, array); }, value);
    }
    if (!array.empty()) text_ += " {\n" + indent + "\ta: " + array + "\n" + indent + "}";
    if (!node.children.empty()) {
      text_ += " {\n";
      for (Node const& child : node.children) write(child, depth + 1);
      text_ += indent + "}";
    }
    text_ += '\n';
  }

  void item(int value, std::string&) { text_ += std::to_string(value); }
  void item(std::int64_t value, std::string&) { text_ += std::to_string(value); }
  void item(double value, std::string&) { text_ += real(value); }
  void item(std::string const& value, std::string&) {
    text_ += '"';
    for (char const c : value) {
      if (c == '"') {
        text_ += "&quot;";
      } else {
        text_ += c;
      }
    }
    text_ += '"';
  }
  template <class T>
  void item(std::vector<T> const& values, std::string& array) {
    // Version 6 writes the numbers behind the name.
    std::string list;
    for (std::size_t k = 0; k < values.size(); ++k) {
      if (k > 0) list += k % 7 == 0 ? "\n ," : ",";
      list += real(static_cast<double>(values[k]));
    }
    if (version_ < 7000) {
      text_ += list;
    } else {
      text_ += "*" + std::to_string(values.size());
      array = list;
    }
  }
  static std::string real(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
  }

  int version_;
  std::string text_;
};

}  // namespace

std::string write_file(std::vector<Node> const& nodes, Form const& form) {
  return form.text ? TextWriter(form.version).file(nodes) : BinaryWriter(form).file(nodes);
}

std::vector<NamedForm> all_forms(bool old_model) {
  if (old_model) {
    return {{"text", {6100, true, false, false}},
            {"binary", {6100, false, false, false}},
            {"binary, big-endian", {6100, false, true, false}}};
  }
  return {{"text", {7400, true, false, false}},
          {"32 bit, raw", {7400, false, false, false}},
          {"32 bit, deflated", {7100, false, false, true}},
          {"64 bit, raw", {7500, false, false, false}},
          {"64 bit, deflated", {7700, false, false, true}},
          {"32 bit, big-endian, deflated", {7300, false, true, true}},
          {"64 bit, big-endian, raw", {7500, false, true, false}}};
}

Node property(std::string const& name, std::string const& type, std::vector<Item> values) {
  Node node = {"P", {name, type, std::string(), std::string()}};
  node.values.insert(node.values.end(), values.begin(), values.end());
  return node;
}

Node properties(std::vector<Node> list) {
  return {"Properties70", {}, std::move(list)};
}

Node leaf(std::string const& name, Item value) {
  return {name, {std::move(value)}};
}

Node geometry(std::int64_t id, std::vector<double> points, std::vector<int> corners, std::vector<Node> more) {
  Node node = {"Geometry", {id, std::string("Geometry::shape"), std::string("Mesh")}};
  node.children = {leaf("Vertices", std::move(points)), leaf("PolygonVertexIndex", std::move(corners))};
  node.children.insert(node.children.end(), more.begin(), more.end());
  return node;
}

Node model(std::int64_t id, std::string const& name, std::vector<Node> properties_list) {
  Node node = {"Model", {id, "Model::" + name, std::string("Mesh")}};
  node.children = {leaf("Version", 232), properties(std::move(properties_list))};
  return node;
}

Node connect(std::int64_t source, std::int64_t target) {
  return {"C", {std::string("OO"), source, target}};
}
Node connect(std::int64_t source, std::int64_t target, std::string const& property_name) {
  return {"C", {std::string("OP"), source, target, property_name}};
}

std::vector<Node> scene(std::vector<Node> objects, std::vector<Node> connections, std::vector<Node> settings) {
  std::vector<Node> nodes = {{"FBXHeaderExtension", {}, {leaf("FBXHeaderVersion", 1003)}}};
  if (!settings.empty()) nodes.push_back({"GlobalSettings", {}, {properties(std::move(settings))}});
  nodes.push_back({"Objects", {}, std::move(objects)});
  nodes.push_back({"Connections", {}, std::move(connections)});
  return nodes;
}

Node layer_element(std::string const& type, int number, std::string const& mapping, std::string const& reference,
                   std::vector<Node> arrays) {
  Node node = {type, {number}};
  node.children = {leaf("Name", std::string("set")), leaf("MappingInformationType", mapping),
                   leaf("ReferenceInformationType", reference)};
  node.children.insert(node.children.end(), arrays.begin(), arrays.end());
  return node;
}

Node layer(int number, std::vector<std::string> const& types, int typed_index) {
  Node node = {"Layer", {number}};
  for (std::string const& type : types) {
    node.children.push_back({"LayerElement", {}, {leaf("Type", type), leaf("TypedIndex", typed_index)}});
  }
  return node;
}

Loaded::Loaded(std::string const& bytes)
    : manager(fbxsdk::FbxManager::Create()),
      importer(fbxsdk::FbxImporter::Create(manager, "")),
      scene(fbxsdk::FbxScene::Create(manager, "myScene")) {
  char path[] = "/tmp/fbx_test_XXXXXX";
  int const file = mkstemp(path);
  if (file < 0) return;
  bool const written = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  close(file);
  ok = written && importer->Initialize(path, -1, manager->GetIOSettings()) && importer->Import(scene, false);
  error = importer->GetStatus().GetErrorString();
  unlink(path);
}

Loaded::~Loaded() {
  manager->Destroy();
}

fbxsdk::FbxMesh* Loaded::mesh(int node, int attribute) const {
  return fbxsdk::FbxCast<fbxsdk::FbxMesh>(child(node)->GetNodeAttributeByIndex(attribute));
}

fbxsdk::FbxMesh* Loaded::triangles(int node, int attribute) const {
  fbxsdk::FbxGeometryConverter converter(manager);
  return fbxsdk::FbxCast<fbxsdk::FbxMesh>(
      converter.Triangulate(child(node)->GetNodeAttributeByIndex(attribute), true, false));
}

}  // namespace fbx_test
