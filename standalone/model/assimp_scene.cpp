#include "standalone/model/assimp_scene.h"

#include <assimp/GltfMaterial.h>
#include <assimp/material.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>
#include <stdexcept>
#include <unordered_map>

#include "standalone/model/mesh_builder.h"
#include "standalone/model/names.h"
#include "standalone/model/shear.h"

namespace mirel::model {

namespace {

constexpr std::size_t kMostNodes = 2'000'000;

void set_name(aiString& target, std::string const& name) {
  target.Set(clean_name(name));
}

aiMatrix4x4 to_assimp(SUTransformation const& transform) {
  double const* const m = transform.values;
  auto const at = [&](int place) { return static_cast<ai_real>(std::isfinite(m[place]) ? m[place] : 0.0); };
  // By rows.
  return {at(0), at(4), at(8), at(12), at(1), at(5), at(9), at(13), at(2), at(6), at(10), at(14), 0, 0, 0, 1};
}

SUTransformation multiply(SUTransformation const& a, SUTransformation const& b) {
  SUTransformation result = kIdentity;
  for (int column = 0; column < 4; ++column) {
    for (int row = 0; row < 3; ++row) {
      double sum = column == 3 ? a.values[12 + row] : 0;
      for (int place = 0; place < 3; ++place) {
        sum += a.values[place * 4 + row] * b.values[column * 4 + place];
      }
      result.values[column * 4 + row] = sum;
    }
  }
  return result;
}

// To meters, and y up.
aiMatrix4x4 outermost_transform(SceneNotes const& notes) {
  auto const scale = static_cast<ai_real>(notes.meters_per_unit);
  if (notes.is_y_up) {
    return {scale, 0, 0, 0, 0, scale, 0, 0, 0, 0, scale, 0, 0, 0, 0, 1};
  }
  return {scale, 0, 0, 0, 0, 0, scale, 0, 0, -scale, 0, 0, 0, 0, 0, 1};
}

bool is_identity(aiMatrix4x4 const& matrix) {
  aiMatrix4x4 const identity;
  return std::equal(matrix[0], matrix[0] + 4, identity[0]) && std::equal(matrix[1], matrix[1] + 4, identity[1]) &&
         std::equal(matrix[2], matrix[2] + 4, identity[2]);
}

// Half a turn about z, which no rounding comes with.
aiMatrix4x4 half_turn() {
  return {-1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

bool has_triangles_only(std::vector<std::unique_ptr<aiMesh>> const& meshes) {
  return std::all_of(meshes.begin(), meshes.end(), [](std::unique_ptr<aiMesh> const& mesh) {
    return mesh->mPrimitiveTypes == aiPrimitiveType_TRIANGLE;
  });
}

bool shares_vertices(aiMesh const& mesh) {
  std::size_t corners = 0;
  for (unsigned int face = 0; face < mesh.mNumFaces; ++face) {
    corners += mesh.mFaces[face].mNumIndices;
  }
  return corners != mesh.mNumVertices;
}

template <typename T>
void delete_all(T**& array, unsigned int& count) {
  std::for_each(array, array + count, [](T* element) { delete element; });
  delete[] array;
  array = nullptr;
  count = 0;
}

// An empty scene that counts as having been through the steps. The exporters take some of them first, and one of those
// joins vertices that are merely close to each other, within a fixed distance that is no small one for every model.
// Only the library itself can mark a scene so: as one that it has read.
std::unique_ptr<aiScene> make_finished_scene(unsigned int steps) {
  static constexpr char kTriangle[] = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  Assimp::Importer importer;
  std::unique_ptr<aiScene> scene;
  if (importer.ReadFileFromMemory(kTriangle, sizeof kTriangle - 1, steps, "off") != nullptr) {
    scene.reset(importer.GetOrphanedScene());
  }
  if (scene == nullptr) {
    return nullptr;
  }
  delete_all(scene->mMeshes, scene->mNumMeshes);
  delete_all(scene->mMaterials, scene->mNumMaterials);
  delete scene->mRootNode;
  scene->mRootNode = nullptr;
  delete scene->mMetaData;
  scene->mMetaData = nullptr;
  scene->mFlags = 0;
  return scene;
}

class SceneBuilder {
 public:
  SceneBuilder(Format const& format, SceneNotes const& notes)
      : format_(format), notes_(notes), texture_files_(format_, notes_) {}

  BuiltScene build(Model const& model) {
    root_ = std::make_unique<aiNode>();
    set_name(root_->mName, node_names_.add(clean_name(notes_.name)));
    if (has_more_places_than(kMostNodes, *model.entities)) {
      throw std::length_error("too many instances");
    }
    aiNode& outermost = format_.has_nodes ? *set_transform(*root_, outermost_transform(notes_)) : *root_;
    fill_node(start_node(outermost, *model.entities), *model.entities, kIdentity, notes_.name);
    if (!format_.has_nodes) {
      name_all_meshes_of_root(*root_);
    }
    if (materials_.empty()) {
      find_material({nullptr, false});
    }
    result_.scene = make_scene();
    aiScene& scene = *result_.scene;
    scene.mRootNode = root_.release();
    hand_over(scene.mMeshes, scene.mNumMeshes, meshes_);
    hand_over(scene.mMaterials, scene.mNumMaterials, materials_);
    hand_over(scene.mTextures, scene.mNumTextures, texture_files_.embedded);
    result_.texture_files = std::move(texture_files_.files);
    result_.remarks = std::move(texture_files_.remarks);
    return std::move(result_);
  }

 private:
  // COLLADA's exporter takes unit and axes from the outermost node, unless that one has meshes of its own.
  aiNode& start_node(aiNode& outermost, Entities const& entities) {
    if (std::strcmp(format_.exporter, "collada") != 0 || entities.faces.size() == 0) {
      return outermost;
    }
    auto* inner = new aiNode();
    set_name(inner->mName, node_names_.add(clean_name(notes_.name)));
    outermost.addChildren(1, &inner);
    return *inner;
  }

  std::unique_ptr<aiScene> make_scene() const {
    if (format_.needless_steps != 0 && has_triangles_only(meshes_)) {
      if (std::unique_ptr<aiScene> scene = make_finished_scene(format_.needless_steps)) {
        return scene;
      }
    }
    auto scene = std::make_unique<aiScene>();
    // To be said where it is so, and only there: the exporter fails at a scene that claims it wrongly.
    if (std::any_of(meshes_.begin(), meshes_.end(), [](auto const& mesh) { return shares_vertices(*mesh); })) {
      scene->mFlags |= AI_SCENE_FLAGS_NON_VERBOSE_FORMAT;
    }
    return scene;
  }

  template <typename T>
  static void hand_over(T**& array, unsigned int& count, std::vector<std::unique_ptr<T>>& list) {
    if (list.empty()) {
      return;
    }
    array = new T*[list.size()];
    count = static_cast<unsigned int>(list.size());
    for (std::size_t number = 0; number < list.size(); ++number) {
      array[number] = list[number].release();
    }
  }

  // What a node shows, and what is in it, level by level: scenes may nest deeper than the stack.
  void fill_node(aiNode& root, Entities const& entities, SUTransformation const& place, std::string const& name) {
    struct Pending {
      aiNode* node;
      Entities const* entities;
      SUTransformation place;
      std::string name;
    };
    std::vector<Pending> left = {{&root, &entities, place, name}};
    while (!left.empty()) {
      Pending const current = std::move(left.back());
      left.pop_back();
      Instance const* const shown = format_.has_nodes ? find_contents(*current.entities) : nullptr;
      if (shown != nullptr) {
        Definition const& definition = *shown->definition;
        show_meshes(*current.node, *definition.entities, current.place, definition.name);
      } else {
        show_meshes(format_.has_nodes ? *current.node : root, *current.entities, current.place, current.name);
      }
      std::vector<std::unique_ptr<aiNode>> children;
      for_each_place(*current.entities, shown,
                     [&](std::string const& child_name, SUTransformation const& transform, Entities const* inside) {
                       aiNode* child = current.node;
                       if (format_.has_nodes) {
                         child = children.emplace_back(std::make_unique<aiNode>()).get();
                         // The exporters make names different from each other too, but by looking at all of them every
                         // time.
                         set_name(child->mName, node_names_.add(clean_name(child_name)));
                         child->mParent = current.node;
                         child = place_node(*child, transform);
                       }
                       if (inside != nullptr) {
                         left.push_back({child, inside, multiply(current.place, transform), child_name});
                       }
                     });
      hand_over(current.node->mChildren, current.node->mNumChildren, children);
    }
  }

  // Calls `visit` with the name, the transformation and the entities, null for none, of each group and instance that
  // gets a node of its own.
  template <typename Visit>
  static void for_each_place(Entities const& entities, Instance const* shown, Visit visit) {
    auto const living = [](Entities const* inside) {
      return inside != nullptr && inside->kind == Kind::kEntities ? inside : nullptr;
    };
    for (Group const* const group : entities.groups) {
      visit(group->name.empty() ? "Group" : group->name, group->transform, living(group->entities));
    }
    for (Instance const* const instance : entities.instances) {
      Definition const* const definition = instance->definition;
      if (instance != shown && definition->kind == Kind::kDefinition) {
        visit(definition->name.empty() ? "Component" : definition->name, instance->transform,
              living(definition->entities));
      }
    }
  }

  // Told without making the nodes: instances of instances multiply.
  bool has_more_places_than(std::size_t most, Entities const& root) const {
    std::unordered_map<Entities const*, std::size_t> places;
    std::vector<Entities const*> left = {&root};
    while (!left.empty()) {
      Entities const* const current = left.back();
      if (places.count(current) != 0) {
        left.pop_back();
        continue;
      }
      std::size_t const left_before = left.size();
      std::size_t count = 0;
      for_each_place(*current, format_.has_nodes ? find_contents(*current) : nullptr,
                     [&](std::string const&, SUTransformation const&, Entities const* inside) {
                       auto const known = places.find(inside);
                       if (inside != nullptr && known == places.end()) {
                         left.push_back(inside);
                       }
                       count = std::min(count + 1 + (known == places.end() ? 0 : known->second), most + 1);
                     });
      if (left.size() == left_before) {
        places.emplace(current, count);
        left.pop_back();
      }
    }
    return places.at(&root) > most;
  }

  // A group that has nothing of its own but one instance where the group is needs one node for both: the group's, with
  // the definition's meshes.
  static Instance const* find_contents(Entities const& entities) {
    if (entities.group == nullptr || entities.faces.size() > 0) {
      return nullptr;
    }
    Instance const* found = nullptr;
    for (Instance const* const instance : entities.instances) {
      Definition const* const definition = instance->definition;
      if (definition->kind != Kind::kDefinition || definition->entities->faces.size() == 0 ||
          !definition->entities->groups.empty() || !definition->entities->instances.empty() ||
          !std::equal(std::begin(kIdentity.values), std::end(kIdentity.values), instance->transform.values)) {
        continue;
      }
      if (found != nullptr) {
        return nullptr;
      }
      found = instance;
    }
    return found;
  }

  // Gives the node its place; the node inside it that is to show the contents where it takes two to do so.
  aiNode* place_node(aiNode& node, SUTransformation const& transform) {
    SplitTransform const split = split_shear(transform);
    aiMatrix4x4 const outer = to_assimp(is_gltf() ? with_thickness(split.outer) : split.outer);
    aiNode* const place = set_transform(node, outer);
    return split.is_split ? set_transform(add_inside(*place), to_assimp(split.inner)) : place;
  }

  // The exporter of glTF leaves out what is within a hundredth of the identity: such a place takes two half turns.
  aiNode* set_transform(aiNode& node, aiMatrix4x4 const& transform) {
    node.mTransformation = transform;
    if (!is_gltf() || !transform.IsIdentity() || is_identity(transform)) {
      return &node;
    }
    node.mTransformation = transform * half_turn();
    aiNode& inner = add_inside(node);
    inner.mTransformation = half_turn();
    return &inner;
  }

  aiNode& add_inside(aiNode& node) {
    auto* inner = new aiNode();
    set_name(inner->mName, node_names_.add(std::string(node.mName.C_Str()) + " turned"));
    node.addChildren(1, &inner);
    return *inner;
  }

  bool is_gltf() const { return format_.takes_only_png_and_jpeg; }

  void show_meshes(aiNode& node, Entities const& entities, SUTransformation const& place, std::string const& name) {
    std::vector<unsigned int> const& shown = find_meshes(entities, name);
    if (format_.has_nodes) {
      node.mNumMeshes = static_cast<unsigned int>(shown.size());
      node.mMeshes = shown.empty() ? nullptr : new unsigned int[shown.size()];
      std::copy(shown.begin(), shown.end(), node.mMeshes);
      return;
    }
    bool const stays = std::equal(std::begin(place.values), std::end(place.values), std::begin(kIdentity.values));
    for (unsigned int const number : shown) {
      std::unique_ptr<aiMesh>& source = sources_[number];
      // Instances need the mesh again.
      std::unique_ptr<aiMesh> mesh = stays && entities.definition == nullptr && entities.group == nullptr
                                         ? std::move(source)
                                         : transform_mesh(*source, place.values);
      mesh->mMaterialIndex = source_materials_[number];
      set_name(mesh->mName, name);
      meshes_.push_back(std::move(mesh));
    }
  }

  // The entities' meshes, built on first use: their numbers in the scene, or in `sources_` without nodes.
  std::vector<unsigned int> const& find_meshes(Entities const& entities, std::string const& name) {
    auto const [found, is_new] = meshes_of_.try_emplace(&entities);
    if (is_new) {
      for (BuiltMesh& built :
           build_meshes(entities, format_.has_one_sided_faces, notes_.has_normals || format_.needs_normals)) {
        unsigned int const material = find_material(built.look);
        if (format_.has_nodes) {
          built.mesh->mMaterialIndex = material;
          set_name(built.mesh->mName, name);
          meshes_.push_back(std::move(built.mesh));
          found->second.push_back(static_cast<unsigned int>(meshes_.size() - 1));
        } else {
          sources_.push_back(std::move(built.mesh));
          source_materials_.push_back(material);
          found->second.push_back(static_cast<unsigned int>(sources_.size() - 1));
        }
      }
    }
    return found->second;
  }

  void name_all_meshes_of_root(aiNode& root) const {
    root.mNumMeshes = static_cast<unsigned int>(meshes_.size());
    root.mMeshes = meshes_.empty() ? nullptr : new unsigned int[meshes_.size()];
    for (unsigned int number = 0; number < root.mNumMeshes; ++number) {
      root.mMeshes[number] = number;
    }
  }

  unsigned int find_material(Look look) {
    for (std::size_t number = 0; number < looks_.size(); ++number) {
      if (looks_[number] == look) {
        return static_cast<unsigned int>(number);
      }
    }
    looks_.push_back(look);
    materials_.push_back(make_material(look));
    return static_cast<unsigned int>(looks_.size() - 1);
  }

  std::unique_ptr<aiMaterial> make_material(Look look) {
    auto made = std::make_unique<aiMaterial>();
    std::string const name = look.material == nullptr ? "Default" : clean_name(look.material->name);
    aiString text(material_names_.add(name.empty() ? "Material" : name));
    made->AddProperty(&text, AI_MATKEY_NAME);
    SUColor const color = look.material == nullptr ? SUColor{255, 255, 255, 255} : look.material->color;
    auto const component = [](SUByte value) { return static_cast<ai_real>(value) / 255; };
    aiColor4D const diffuse(component(color.red), component(color.green), component(color.blue), 1);
    made->AddProperty(&diffuse, 1, AI_MATKEY_COLOR_DIFFUSE);
    ai_real const opacity = component(color.alpha);
    made->AddProperty(&opacity, 1, AI_MATKEY_OPACITY);
    int const shading = aiShadingMode_Gouraud;
    made->AddProperty(&shading, 1, AI_MATKEY_SHADING_MODEL);
    ai_real const metallic = 0;
    ai_real const roughness = 1;
    made->AddProperty(&metallic, 1, AI_MATKEY_METALLIC_FACTOR);
    made->AddProperty(&roughness, 1, AI_MATKEY_ROUGHNESS_FACTOR);
    if (look.is_two_sided) {
      int const two_sided = 1;
      made->AddProperty(&two_sided, 1, AI_MATKEY_TWOSIDED);
    }
    if (look.material != nullptr && look.material->texture != nullptr) {
      if (std::string const name = texture_files_.name_of(look.material->texture->path); !name.empty()) {
        aiString path(name);
        made->AddProperty(&path, AI_MATKEY_TEXTURE_DIFFUSE(0));
      }
    }
    return made;
  }

  Format const& format_;
  SceneNotes const& notes_;
  BuiltScene result_;
  std::unique_ptr<aiNode> root_;
  std::vector<std::unique_ptr<aiMesh>> meshes_;
  std::vector<std::unique_ptr<aiMesh>> sources_;
  std::vector<unsigned int> source_materials_;
  std::unordered_map<Entities const*, std::vector<unsigned int>> meshes_of_;
  std::vector<Look> looks_;
  std::vector<std::unique_ptr<aiMaterial>> materials_;
  UniqueNames material_names_;
  UniqueNames node_names_;
  TextureFiles texture_files_;
};

}  // namespace

BuiltScene build_assimp_scene(Model const& model, Format const& format, SceneNotes const& notes) {
  return SceneBuilder(format, notes).build(model);
}

}  // namespace mirel::model
