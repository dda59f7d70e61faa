#include "standalone/fbx/document.h"

#include <algorithm>

namespace mirel::fbx {
namespace {

// Binary files write the name first and the class behind two bytes; text files the class, two colons and the name.
constexpr std::string_view kNameDivider("\0\1", 2);

std::string_view own_name(std::string_view full, bool is_text) {
  if (!is_text) {
    std::size_t const divider = full.find(kNameDivider);
    if (divider != std::string_view::npos) return full.substr(0, divider);
  }
  std::size_t const divider = full.find("::");
  return divider == std::string_view::npos ? full : full.substr(divider + 2);
}

bool is_properties(Element const& element) {
  return element.name() == "Properties70" || element.name() == "Properties60";
}

bool read_entry(Element const& element, PropertyEntry& entry) {
  bool const is_new = element.name() == "P";
  if ((!is_new && element.name() != "Property") || element.value_count < 2) return false;
  entry.name = raw_text(&element, 0);
  entry.type = raw_text(&element, 1);
  entry.element = &element;
  entry.first_value = is_new ? 4 : 3;
  return true;
}

}  // namespace

Document::Document(ElementTree& tree) : tree_(tree) {
  objects_.reserve(count_children("Objects"));
  connections_.reserve(count_children("Connections"));
  for (Element const* section = tree.root.first_child; section != nullptr; section = section->next) {
    if (section->name() == "Objects") {
      for (Element const* one = section->first_child; one != nullptr; one = one->next) add_object(*one);
    } else if (section->name() == "GlobalSettings") {
      global_settings_ = section;
    } else if (section->name() == "Definitions") {
      definitions_ = section;
    } else if (section->name() == "Documents") {
      read_roots(*section);
    }
  }
  for (Element const* section = tree.root.first_child; section != nullptr; section = section->next) {
    if (section->name() == "Connections") read_connections(*section);
  }
}

std::size_t Document::count_children(std::string_view section_name) const {
  std::size_t count = 0;
  for (Element const* section = tree_.root.first_child; section != nullptr; section = section->next) {
    if (section->name() != section_name) continue;
    for (Element const* one = section->first_child; one != nullptr; one = one->next) ++count;
  }
  tree_.budget.take(count * (section_name == "Objects" ? sizeof(DocumentObject) : sizeof(Connection)));
  return count;
}

void Document::read_roots(Element const& section) {
  constexpr std::size_t kMostRoots = 16;
  for (Element const* one = section.first_child; one != nullptr && root_ids_.size() < kMostRoots; one = one->next) {
    Element const* const root = one->name() == "Document" ? one->child("RootNode") : nullptr;
    if (root == nullptr || root->value_count == 0 || root->values[0].kind != Value::Kind::kInteger) continue;
    root_ids_.push_back(root->values[0].integer);
  }
}

void Document::add_object(Element const& element) {
  if (element.name() == "GlobalSettings") {
    if (global_settings_ == nullptr) global_settings_ = &element;
    return;
  }
  if (element.value_count == 0) return;
  std::size_t next = 0;
  bool const has_id = element.values[0].kind == Value::Kind::kInteger;
  if (has_id) next = 1;
  std::string_view const full = raw_text(&element, next);
  if (!has_id && full.empty()) return;
  std::size_t const index = objects_.size();
  // Its entry in one of the maps.
  tree_.budget.take(96);
  DocumentObject& object = objects_.emplace_back();
  object.type = element.name();
  object.kind = raw_text(&element, next + 1);
  object.element = &element;
  if (next < element.value_count && element.values[next].kind == Value::Kind::kText) {
    Value name = element.values[next];
    std::string_view const own = own_name(full, tree_.is_text);
    name.bytes = own.data();
    name.size = static_cast<std::uint32_t>(own.size());
    object.name = text(name);
    tree_.budget.take(own.size());
  }
  // The first of several objects with one name or number is the one that connections mean.
  if (has_id) {
    by_id_.emplace(element.values[0].integer, index);
  } else {
    by_name_.emplace(full, index);
  }
}

std::size_t Document::find_object(Value const& value, bool& is_root) const {
  is_root = false;
  if (value.kind == Value::Kind::kInteger) {
    auto const found = by_id_.find(value.integer);
    if (found != by_id_.end()) return found->second;
    is_root = std::find(root_ids_.begin(), root_ids_.end(), value.integer) != root_ids_.end();
  } else if (value.kind == Value::Kind::kText) {
    std::string_view const name = raw_text(value);
    auto const found = by_name_.find(name);
    if (found != by_name_.end()) return found->second;
    is_root = name == "Model::Scene" || name == std::string_view("Scene\0\1Model", 12) || name == "Scene" ||
              name == "Model::RootNode" || name == std::string_view("RootNode\0\1Model", 15);
  }
  return kNoObject;
}

void Document::read_connections(Element const& section) {
  for (Element const* one = section.first_child; one != nullptr; one = one->next) {
    if (one->name() != "C" && one->name() != "Connect") continue;
    std::string_view const kind = raw_text(one, 0);
    std::string_view property;
    // Sources that are properties (PO, PP) are wiring between shaders that nothing here follows.
    if (one->value_count < 3 || (kind != "OO" && kind != "OP")) continue;
    if (kind == "OP") property = raw_text(one, 3);
    bool source_is_root = false;
    bool target_is_root = false;
    Connection connection;
    connection.source = find_object(one->values[1], source_is_root);
    connection.target = find_object(one->values[2], target_is_root);
    connection.property = property;
    if (connection.source == kNoObject || (connection.target == kNoObject && !target_is_root)) continue;
    connections_.push_back(connection);
  }
}

bool Document::find_property(Element const* holder, std::string_view name, PropertyEntry& found) {
  for (Element const* list = holder == nullptr ? nullptr : holder->first_child; list != nullptr; list = list->next) {
    if (!is_properties(*list)) continue;
    for (Element const* one = list->first_child; one != nullptr; one = one->next) {
      if (raw_text(one, 0) == name && read_entry(*one, found)) return true;
    }
  }
  return false;
}

bool Document::next_property(Element const* holder, PropertyEntry& entry) {
  bool const begins = entry.element == nullptr;
  Element const* list = begins ? (holder == nullptr ? nullptr : holder->first_child) : entry.list;
  Element const* one = begins ? nullptr : entry.element->next;
  bool in_list = !begins;
  for (; list != nullptr; list = list->next, in_list = false) {
    if (!is_properties(*list)) continue;
    if (!in_list) one = list->first_child;
    for (; one != nullptr; one = one->next) {
      if (!read_entry(*one, entry)) continue;
      entry.list = list;
      return true;
    }
  }
  return false;
}

Element const* Document::find_template(std::string_view type, std::string_view class_name) const {
  Element const* only = nullptr;
  for (Element const* one = definitions_ == nullptr ? nullptr : definitions_->first_child; one != nullptr;
       one = one->next) {
    if (one->name() != "ObjectType" || raw_text(one) != type) continue;
    for (Element const* defined = one->first_child; defined != nullptr; defined = defined->next) {
      if (defined->name() != "PropertyTemplate") continue;
      if (raw_text(defined) == class_name) return defined;
      if (only == nullptr) only = defined;
    }
  }
  return only;
}

std::string Document::text(Value const& value) const {
  std::string_view const raw = raw_text(value);
  if (!tree_.is_text || raw.find('&') == std::string_view::npos) return std::string(raw);
  // The text form cannot hold these as they are; any other ampersand stands for itself.
  static constexpr struct {
    std::string_view code;
    char character;
  } kCodes[] = {{"&quot;", '"'}, {"&lf;", '\n'}, {"&cr;", '\r'}};
  std::string decoded;
  decoded.reserve(raw.size());
  for (std::size_t at = 0; at < raw.size();) {
    bool replaced = false;
    for (auto const& [code, character] : kCodes) {
      if (raw[at] != '&' || raw.substr(at, code.size()) != code) continue;
      decoded.push_back(character);
      at += code.size();
      replaced = true;
      break;
    }
    if (!replaced) decoded.push_back(raw[at++]);
  }
  return decoded;
}

}  // namespace mirel::fbx
