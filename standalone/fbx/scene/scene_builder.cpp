#include "standalone/fbx/scene/scene_builder.h"

#include <map>
#include <set>

#include "standalone/fbx/mesh_reader.h"
#include "standalone/fbx/property_types.h"
#include "standalone/fbx/scene/attribute_maker.h"
#include "standalone/fbx/scene/material_maker.h"
#include "standalone/fbx/scene/node_tree.h"
#include "standalone/fbx/scene/object_making.h"
#include "standalone/fbx/scene/settings_reader.h"
#include "standalone/fbx/scene/texture_maker.h"
#include "standalone/fbx/scene/transform_reader.h"

namespace mirel::fbx {
namespace {

using namespace fbxsdk;

class SceneBuilder {
 public:
  SceneBuilder(Document const& document, FbxManager* manager, FbxScene* scene)
      : document_(document),
        manager_(manager),
        scene_(Internals::data(*scene)),
        materials_(document, manager),
        textures_(document, manager) {}

  void build() {
    read_settings(document_, Internals::data(*scene_.settings));
    read_transform(document_.find_template("Model", "FbxNode"), default_transform_);
    std::size_t const count = document_.objects().size();
    charge(document_, count * (3 * sizeof(void*) + 2 * sizeof(std::size_t) + sizeof(std::string) + sizeof(int)));
    made_.resize(count);
    attributes_.resize(count);
    tree_ = NodeTree(count);
    video_names_.resize(count);
    for (std::size_t k = 0; k < count; ++k) make_object(k);
    for (Connection const& connection : document_.connections()) connect(connection);
    tree_.link(made_, scene_.root);
    scene_.node_count = 1 + scene_.root->GetChildCount(true);
    place_layer_textures();
    name_textures();
  }

 private:
  void make_object(std::size_t index) {
    DocumentObject const& object = document_.objects()[index];
    if (object.type == "Model") {
      make_node(index);
    } else if (object.type == "Geometry") {
      if (object.kind == "Shape") return;
      attributes_[index] = make_geometry(document_, manager_, object, attribute_type(object.kind), object.name);
    } else if (object.type == "NodeAttribute") {
      attributes_[index] = make_attribute(document_, manager_, attribute_type(object.kind), object.name);
    } else if (object.type == "Material") {
      made_[index] = materials_.make(object);
    } else if (TextureMaker::makes(object.type)) {
      made_[index] = textures_.make(object);
    } else if (object.type == "Implementation") {
      made_[index] = make_implementation(object);
    } else if (object.type == "Video") {
      Element const* name = object.element->child("FileName");
      if (name == nullptr) name = object.element->child("Filename");
      if (name != nullptr && name->value_count > 0) video_names_[index] = document_.text(name->values[0]);
    }
    if (attributes_[index] != nullptr) made_[index] = attributes_[index];
  }

  void make_node(std::size_t index) {
    DocumentObject const& object = document_.objects()[index];
    charge(document_, sizeof(FbxNode) + sizeof(Internals::NodeData) + 256);
    FbxNode* const node =
        made(Internals::create<FbxNode, Internals::NodeData>(manager_, Internals::kNode, object.name));
    Internals::NodeData& data = Internals::data(*node);
    data.transform = default_transform_;
    read_transform(object.element, data.transform);
    data.local = local_matrix(data.transform);
    for (std::string_view const name : {"Visibility", "Show", "InheritType"}) {
      PropertyEntry entry;
      if (!Document::find_property(object.element, name, entry)) continue;
      charge(document_, 2 * sizeof(PropertyValue));
      data.properties.push_back(read_value(document_, entry));
      charge_text(document_, data.properties.back().text);
    }
    sort_properties(data.properties);
    made_[index] = node;
    // Version 6 has no objects for attributes: the model holds them.
    bool const holds_mesh = object.element->child("Vertices") != nullptr;
    bool const is_old = object.element->value_count > 0 && object.element->values[0].kind != Value::Kind::kInteger;
    if (!is_old && !holds_mesh) return;
    FbxNodeAttribute::EType type = attribute_type(object.kind);
    if (holds_mesh && type == FbxNodeAttribute::eUnknown) type = FbxNodeAttribute::eMesh;
    if (type == FbxNodeAttribute::eUnknown) return;
    attach(node, make_geometry(document_, manager_, object, type, held_attribute_name(document_, object)));
  }

  FbxObject* make_implementation(DocumentObject const& object) {
    charge(document_, sizeof(Internals::ImplementationData) + 64);
    FbxImplementation* const implementation = made(Internals::create<FbxImplementation, Internals::ImplementationData>(
        manager_, Internals::kImplementation, object.name));
    PropertyEntry entry;
    if (Document::find_property(object.element, "ShaderLanguage", entry) &&
        entry.first_value < entry.element->value_count) {
      Internals::data(*implementation).language = document_.text(entry.element->values[entry.first_value]);
    }
    return implementation;
  }

  void attach(FbxNode* node, FbxNodeAttribute* attribute) {
    charge(document_, 6 * sizeof(void*));
    Internals::data(*node).attributes.push_back(attribute);
    Internals::data(*attribute).nodes.push_back(node);
  }

  void add_source(FbxObject* target, std::string_view property, FbxObject* source) {
    charge(document_, 3 * sizeof(Internals::ObjectData::Source) + property.size());
    Internals::data(*target).sources.push_back({std::string(property), source});
  }

  void connect(Connection const& connection) {
    DocumentObject const& source = document_.objects()[connection.source];
    if (connection.target == kNoObject) {
      if (source.type == "Model") tree_.set_parent(connection.source, kNoObject);
      return;
    }
    DocumentObject const& target = document_.objects()[connection.target];
    FbxObject* const source_object = made_[connection.source];
    FbxObject* const target_object = made_[connection.target];
    if (source.type == "Video" && target.type == "Texture") {
      Internals::TextureData& data = Internals::data(*static_cast<FbxTexture*>(target_object));
      if (data.file_name.empty()) data.file_name = video_names_[connection.source];
      return;
    }
    if (source_object == nullptr || target_object == nullptr) return;
    if (FbxNode* const node = FbxCast<FbxNode>(target_object)) {
      if (!connection.property.empty()) return;
      if (source_object->Is<FbxNode>()) {
        tree_.set_parent(connection.source, connection.target);
      } else if (attributes_[connection.source] != nullptr) {
        // A node has an attribute once, however often the file says so.
        charge(document_, 64);
        if (attached_.emplace(connection.target, connection.source).second) {
          attach(node, attributes_[connection.source]);
        }
      } else if (FbxSurfaceMaterial* const material = FbxCast<FbxSurfaceMaterial>(source_object)) {
        charge(document_, 3 * sizeof(void*));
        Internals::data(*node).materials.push_back(material);
      } else if (FbxTexture* const texture = FbxCast<FbxTexture>(source_object)) {
        charge(document_, 128);
        model_textures_[connection.target].push_back(texture);
      }
    } else if (source_object->Is<FbxTexture>()) {
      add_source(target_object, connection.property, source_object);
    } else if (source_object->Is<FbxImplementation>()) {
      add_source(target_object, "", source_object);
    } else if (target_object->Is<FbxImplementation>() && source_object->Is<FbxSurfaceMaterial>()) {
      // Files have it the other way round: the material is connected to its implementation.
      add_source(source_object, "", target_object);
    }
  }

  // Some writers give only the path beside the file.
  void name_textures() {
    for (FbxObject* const object : made_) {
      FbxFileTexture* const texture = FbxCast<FbxFileTexture>(object);
      if (texture == nullptr || !Internals::data(*texture).file_name.empty()) continue;
      charge_text(document_, Internals::data(*texture).relative_name);
      Internals::data(*texture).file_name = Internals::data(*texture).relative_name;
    }
  }

  // Version 6 connects textures to the node and tells per polygon which of them is meant.
  void place_layer_textures() {
    std::set<FbxSurfaceMaterial*> placed;
    for (auto const& [index, textures] : model_textures_) {
      FbxNode* const node = static_cast<FbxNode*>(made_[index]);
      FbxMesh* const mesh = FbxCast<FbxMesh>(node->GetNodeAttribute());
      if (mesh == nullptr) continue;
      Internals::NodeData& data = Internals::data(*node);
      for (TextureUse const& use :
           read_texture_layer(document_, *document_.objects()[index].element, Internals::data(*mesh).mesh)) {
        if (static_cast<std::size_t>(use.material) >= data.materials.size()) continue;
        if (static_cast<std::size_t>(use.texture) >= textures.size()) continue;
        FbxSurfaceMaterial* const material = data.materials[static_cast<std::size_t>(use.material)];
        // Looked at once: after that it has a texture.
        if (!placed.insert(material).second) continue;
        FbxProperty const diffuse = material->FindProperty(FbxSurfaceMaterial::sDiffuse);
        if (diffuse.GetSrcObjectCount<FbxTexture>() > 0) continue;
        add_source(material, FbxSurfaceMaterial::sDiffuse, textures[static_cast<std::size_t>(use.texture)]);
      }
    }
  }

  Document const& document_;
  FbxManager* manager_;
  Internals::SceneData& scene_;
  Transform default_transform_;
  MaterialMaker materials_;
  TextureMaker textures_;
  NodeTree tree_;
  // By number of the document's object; null where nothing was made.
  std::vector<FbxObject*> made_;
  std::vector<FbxNodeAttribute*> attributes_;
  std::vector<std::string> video_names_;
  std::map<std::size_t, std::vector<FbxTexture*>> model_textures_;
  // Numbers of a node and an attribute.
  std::set<std::pair<std::size_t, std::size_t>> attached_;
};

}  // namespace

void build_scene(Document const& document, FbxManager* manager, FbxScene* scene) {
  SceneBuilder(document, manager, scene).build();
}

}  // namespace mirel::fbx
