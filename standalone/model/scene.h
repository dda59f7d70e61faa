// The model in memory: entities, faces, edges, groups, component definitions and instances, materials, textures.
//
// Lengths are in inches, z is up, transformations are 4 x 4 and column-major. Who owns what: a model its materials,
// definitions and root entities; a group or definition its entities; entities their groups and instances; a material
// its texture. What has not been added to an owner yet lives until the process ends.
#pragma once

#include <SketchUpAPI/sketchup.h>

#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "standalone/model/object_store.h"

namespace mirel::model {

inline constexpr std::uint32_t kNoIndex = std::numeric_limits<std::uint32_t>::max();
inline constexpr SUTransformation kIdentity = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

struct Entities;
struct Group;
struct Definition;
struct Instance;
struct Model;

struct Texture : Object {
  static constexpr Kind kKind = Kind::kTexture;
  std::string path;
  // Size of one repetition, in inches.
  double width = 1;
  double height = 1;
  bool has_owner = false;
};

struct Material : Object {
  static constexpr Kind kKind = Kind::kMaterial;
  std::string name;
  SUColor color = {255, 255, 255, 255};
  Texture* texture = nullptr;
  Model* owner = nullptr;
};

// One per pair of vertices that some face joins.
struct Edge : Object {
  static constexpr Kind kKind = Kind::kEdge;
  std::uint32_t face_count : 30 = 0;
  std::uint32_t is_soft : 1 = 0;
  std::uint32_t is_smooth : 1 = 0;
  Entities* owner = nullptr;
  std::uint32_t vertices[2] = {kNoIndex, kNoIndex};
  std::uint32_t faces[2] = {kNoIndex, kNoIndex};  // further ones are in Entities::further_faces
};

// A polygon without holes, counter-clockwise seen from its front.
struct Face : Object {
  static constexpr Kind kKind = Kind::kFace;
  std::uint32_t corner_count = 0;
  Entities* owner = nullptr;
  std::uint32_t first_corner = 0;
  std::uint32_t front_uvs = kNoIndex;  // place of the first corner's UV in Entities::uvs
  std::uint32_t back_uvs = kNoIndex;
  Material* front = nullptr;
  Material* back = nullptr;
};

// A face's vertex, and the edge from it to the next corner's.
struct Corner {
  std::uint32_t vertex = kNoIndex;
  std::uint32_t edge = kNoIndex;
};

struct Entities : Object {
  static constexpr Kind kKind = Kind::kEntities;
  StableArray<SUPoint3D> vertices;
  StableArray<Edge> edges;
  StableArray<Face> faces;
  StableArray<Corner> corners;
  StableArray<SUPoint2D> uvs;
  // Of edges with more than two faces, those after the second.
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> further_faces;

  std::vector<Group*> groups;
  std::vector<Instance*> instances;
  std::unordered_set<Definition*> used_definitions;

  // Where the entities are: in a group, a definition, or else a model.
  Group* group = nullptr;
  Definition* definition = nullptr;
};

struct Group : Object {
  static constexpr Kind kKind = Kind::kGroup;
  std::string name;
  SUTransformation transform = kIdentity;
  Entities* entities = nullptr;
  Entities* parent = nullptr;
};

struct Definition : Object {
  static constexpr Kind kKind = Kind::kDefinition;
  std::string name;
  Entities* entities = nullptr;
  Model* owner = nullptr;
};

struct Instance : Object {
  static constexpr Kind kKind = Kind::kInstance;
  Definition* definition = nullptr;
  SUTransformation transform = kIdentity;
  Entities* parent = nullptr;
};

struct Model : Object {
  static constexpr Kind kKind = Kind::kModel;
  Entities* entities = nullptr;
  std::vector<Material*> materials;
  std::vector<Definition*> definitions;
};

struct Text : Object {
  static constexpr Kind kKind = Kind::kString;
  std::string text;
};

// All objects of the process.
struct Stores {
  ObjectStore<Model> models;
  ObjectStore<Entities> entities;
  ObjectStore<Group> groups;
  ObjectStore<Definition> definitions;
  ObjectStore<Instance> instances;
  ObjectStore<Material> materials;
  ObjectStore<Texture> textures;
  ObjectStore<Text> texts;
};
Stores& stores();

// Frees the model with everything in it.
void release_model(Model* model);

// Whether an instance of the definition in these entities would make a definition contain itself.
bool would_contain_itself(Entities const& place, Definition const& definition);

double vector_length(SUVector3D const& vector);

// Unit length; (0, 0, 0) for a face without area.
SUVector3D face_normal(Entities const& entities, Face const& face);

// The faces of an edge, in the order in which they came.
std::uint32_t edge_face(Entities const& entities, std::uint32_t edge, std::uint32_t number);

}  // namespace mirel::model
