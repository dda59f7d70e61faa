#include "standalone/model/scene.h"

#include <cmath>

namespace mirel::model {

namespace {

void release_material(Material* material) {
  if (material->texture != nullptr) {
    stores().textures.release(material->texture);
  }
  stores().materials.release(material);
}

// Groups nest as deep as the scene does: a list of what is left instead of recursion.
void release_entities(Entities* root) {
  std::vector<Entities*> left = {root};
  while (!left.empty()) {
    Entities* const entities = left.back();
    left.pop_back();
    for (Group* const group : entities->groups) {
      if (group->entities != nullptr) {
        left.push_back(group->entities);
      }
      stores().groups.release(group);
    }
    for (Instance* const instance : entities->instances) {
      stores().instances.release(instance);
    }
    // References to edges and faces are addresses in here; they end with the model.
    stores().entities.release(entities);
  }
}

}  // namespace

Stores& stores() {
  // Never destroyed: objects that nobody released stay as they are until the process is gone.
  static Stores* const all = new Stores;
  return *all;
}

void release_model(Model* model) {
  release_entities(model->entities);
  for (Definition* const definition : model->definitions) {
    if (definition->entities != nullptr) {
      release_entities(definition->entities);
    }
    stores().definitions.release(definition);
  }
  for (Material* const material : model->materials) {
    release_material(material);
  }
  stores().models.release(model);
}

bool would_contain_itself(Entities const& place, Definition const& definition) {
  Entities const* outermost = &place;
  while (outermost->group != nullptr && outermost->group->parent != nullptr) {
    outermost = outermost->group->parent;
  }
  Definition const* const container = outermost->definition;
  if (container == nullptr) {
    return false;
  }
  std::unordered_set<Definition const*> seen = {&definition};
  std::vector<Definition const*> left = {&definition};
  std::vector<Entities const*> contents;
  while (!left.empty()) {
    Definition const* const current = left.back();
    left.pop_back();
    if (current == container) {
      return true;
    }
    if (current->entities == nullptr) {
      continue;
    }
    contents.push_back(current->entities);
    while (!contents.empty()) {
      Entities const* const entities = contents.back();
      contents.pop_back();
      for (Definition const* const used : entities->used_definitions) {
        if (seen.insert(used).second) {
          left.push_back(used);
        }
      }
      for (Group const* const group : entities->groups) {
        if (group->entities != nullptr) {
          contents.push_back(group->entities);
        }
      }
    }
  }
  return false;
}

double vector_length(SUVector3D const& vector) {
  double const squared = vector.x * vector.x + vector.y * vector.y + vector.z * vector.z;
  // The slow way only where squares leave the range of numbers.
  return squared > 1e-280 && squared < 1e280 ? std::sqrt(squared) : std::hypot(vector.x, vector.y, vector.z);
}

SUVector3D face_normal(Entities const& entities, Face const& face) {
  // Newell's sum, around the first corner so that far-away faces keep their digits.
  SUPoint3D const& origin = entities.vertices[entities.corners[face.first_corner].vertex];
  SUVector3D sum = {0, 0, 0};
  for (std::uint32_t corner = 1; corner + 1 < face.corner_count; ++corner) {
    SUPoint3D const& a = entities.vertices[entities.corners[face.first_corner + corner].vertex];
    SUPoint3D const& b = entities.vertices[entities.corners[face.first_corner + corner + 1].vertex];
    SUVector3D const u = {a.x - origin.x, a.y - origin.y, a.z - origin.z};
    SUVector3D const v = {b.x - origin.x, b.y - origin.y, b.z - origin.z};
    sum.x += u.y * v.z - u.z * v.y;
    sum.y += u.z * v.x - u.x * v.z;
    sum.z += u.x * v.y - u.y * v.x;
  }
  double const length = vector_length(sum);
  if (!(length > 0) || !std::isfinite(length)) {
    return {0, 0, 0};
  }
  return {sum.x / length, sum.y / length, sum.z / length};
}

std::uint32_t edge_face(Entities const& entities, std::uint32_t edge, std::uint32_t number) {
  return number < 2 ? entities.edges[edge].faces[number] : entities.further_faces.at(edge)[number - 2];
}

}  // namespace mirel::model
