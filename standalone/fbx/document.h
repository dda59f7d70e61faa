// What the element tree says as a whole: objects, their properties, and what is connected to what. Versions 6 and 7
// differ in how an object is named in a connection and in how properties are written; here they are the same.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "standalone/fbx/element.h"

namespace mirel::fbx {

// One property: its type's name and its values.
struct PropertyEntry {
  std::string_view name;
  std::string_view type;
  Element const* element = nullptr;
  // The list that holds the element; only next_property sets it.
  Element const* list = nullptr;
  // The first of the element's values that is the property's own.
  std::size_t first_value = 0;
};

struct DocumentObject {
  // The element's name: "Model", "Geometry", "Material", ...
  std::string_view type;
  // "Mesh", "Light", ...; "" where it has none.
  std::string_view kind;
  // Without its class; quotes and line ends decoded.
  std::string name;
  Element const* element = nullptr;
};

inline constexpr std::size_t kNoObject = ~std::size_t{0};

struct Connection {
  std::size_t source = kNoObject;
  // kNoObject: the scene's root.
  std::size_t target = kNoObject;
  // Empty: the object itself.
  std::string_view property;
};

class Document {
 public:
  // Throws ReadError. The tree has to stay.
  explicit Document(ElementTree& tree);

  ElementTree& tree() const { return tree_; }
  std::vector<DocumentObject> const& objects() const { return objects_; }
  // Object to object and object to property, in the order of the file; sources are never kNoObject.
  std::vector<Connection> const& connections() const { return connections_; }
  // The element with the global settings, null when there is none.
  Element const* global_settings() const { return global_settings_; }

  // The value that an object has for a property, else null.
  static bool find_property(Element const* holder, std::string_view name, PropertyEntry& found);
  // Goes through an element's own properties: the one behind `entry`, the first for an entry that is still empty.
  // False at the end.
  static bool next_property(Element const* holder, PropertyEntry& entry);
  // What the file defines as default for an object type; the class name chooses where there are several.
  Element const* find_template(std::string_view type, std::string_view class_name) const;

  // A text of the file: decoded when it comes from the text form.
  std::string text(Value const& value) const;

 private:
  // In all sections of that name; their memory is taken from the budget.
  std::size_t count_children(std::string_view section_name) const;
  void add_object(Element const& element);
  void read_roots(Element const& section);
  void read_connections(Element const& section);
  std::size_t find_object(Value const& value, bool& is_root) const;

  ElementTree& tree_;
  std::vector<DocumentObject> objects_;
  std::vector<Connection> connections_;
  std::unordered_map<std::int64_t, std::size_t> by_id_;
  std::unordered_map<std::string_view, std::size_t> by_name_;
  Element const* global_settings_ = nullptr;
  Element const* definitions_ = nullptr;
  // Numbers that stand for the root of a scene.
  std::vector<std::int64_t> root_ids_ = {0};
};

// The text of a value; empty when it is none.
inline std::string_view raw_text(Value const& value) {
  return value.kind == Value::Kind::kText ? std::string_view(value.bytes, value.size) : std::string_view();
}
inline std::string_view raw_text(Element const* element, std::size_t index = 0) {
  return element != nullptr && index < element->value_count ? raw_text(element->values[index]) : std::string_view();
}

}  // namespace mirel::fbx
