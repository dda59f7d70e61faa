// Entities, edges and faces of the C API.
#include "standalone/model/fill.h"
#include "standalone/model/geometry_input.h"
#include "standalone/model/references.h"

using namespace mirel::model;

namespace {

std::uint32_t number_of(Entities const& entities, Edge const& edge) {
  // An edge does not know its number; a face of it knows its edges.
  Face const& face = entities.faces[edge.faces[0]];
  for (std::uint32_t corner = 0; corner < face.corner_count; ++corner) {
    std::uint32_t const number = entities.corners[face.first_corner + corner].edge;
    if (&entities.edges[number] == &edge) {
      return number;
    }
  }
  return kNoIndex;
}

}  // namespace

SUResult SUEntitiesFill(SUEntitiesRef entities, SUGeometryInputRef geom_input, bool weld_vertices) {
  return answer([&] {
    Entities* const place = resolve<Entities>(entities.ptr);
    GeometryInput const* const input = resolve<GeometryInput>(geom_input.ptr);
    if (place == nullptr || input == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    fill(*place, *input, weld_vertices);
    return SU_ERROR_NONE;
  });
}

SUResult SUEntitiesAddGroup(SUEntitiesRef entities, SUGroupRef group) {
  return answer([&] {
    Entities* const place = resolve<Entities>(entities.ptr);
    Group* const added = resolve<Group>(group.ptr);
    if (place == nullptr || added == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (added->parent != nullptr) {
      return SU_ERROR_DUPLICATE;
    }
    for (Entities const* outer = place; outer != nullptr;
         outer = outer->group == nullptr ? nullptr : outer->group->parent) {
      if (outer->group == added) {
        return SU_ERROR_INVALID_OPERATION;
      }
    }
    place->groups.push_back(added);
    added->parent = place;
    return SU_ERROR_NONE;
  });
}

SUResult SUEntitiesAddInstance(SUEntitiesRef entities, SUComponentInstanceRef instance, SUStringRef* name) {
  return answer([&] {
    Entities* const place = resolve<Entities>(entities.ptr);
    Instance* const added = resolve<Instance>(instance.ptr);
    if (place == nullptr || added == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    Text* const text = name == nullptr ? nullptr : resolve<Text>(name->ptr);
    if (name != nullptr && text == nullptr) {
      return SU_ERROR_INVALID_OUTPUT;
    }
    if (added->parent != nullptr) {
      return SU_ERROR_DUPLICATE;
    }
    if (would_contain_itself(*place, *added->definition)) {
      return SU_ERROR_INVALID_OPERATION;
    }
    place->instances.push_back(added);
    place->used_definitions.insert(added->definition);
    added->parent = place;
    if (text != nullptr) {
      text->text = added->definition->name;
    }
    return SU_ERROR_NONE;
  });
}

// Every edge is of some face: none stands alone.
SUResult SUEntitiesGetNumEdges(SUEntitiesRef entities, bool standalone_only, size_t* count) {
  Entities const* const place = resolve<Entities>(entities.ptr);
  return give_count(place, place == nullptr || standalone_only ? 0 : place->edges.size(), count);
}

SUResult SUEntitiesGetEdges(SUEntitiesRef entities, bool standalone_only, size_t len, SUEdgeRef edges[],
                            size_t* count) {
  Entities* const place = resolve<Entities>(entities.ptr);
  if (place == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  return give_references(
      standalone_only ? 0 : place->edges.size(), [&](std::size_t number) { return &place->edges[number]; }, len, edges,
      count);
}

SUResult SUEdgeGetNumFaces(SUEdgeRef edge, size_t* count) {
  Edge const* const object = resolve<Edge>(edge.ptr);
  return give_count(object, object == nullptr ? 0 : object->face_count, count);
}

SUResult SUEdgeGetFaces(SUEdgeRef edge, size_t len, SUFaceRef faces[], size_t* count) {
  return answer([&] {
    Edge* const object = resolve<Edge>(edge.ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    Entities& owner = *object->owner;
    std::uint32_t const edge_number = object->face_count > 2 ? number_of(owner, *object) : kNoIndex;
    return give_references(
        object->face_count,
        [&](std::size_t number) {
          return &owner.faces[number < 2 ? object->faces[number]
                                         : edge_face(owner, edge_number, static_cast<std::uint32_t>(number))];
        },
        len, faces, count);
  });
}

SUResult SUEdgeSetSoft(SUEdgeRef edge, bool soft_flag) {
  Edge* const object = resolve<Edge>(edge.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  object->is_soft = soft_flag;
  return SU_ERROR_NONE;
}

SUResult SUEdgeSetSmooth(SUEdgeRef edge, bool smooth_flag) {
  Edge* const object = resolve<Edge>(edge.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  object->is_smooth = smooth_flag;
  return SU_ERROR_NONE;
}

SUResult SUFaceGetNormal(SUFaceRef face, SUVector3D* normal) {
  Face const* const object = resolve<Face>(face.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (normal == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  *normal = face_normal(*object->owner, *object);
  return SU_ERROR_NONE;
}
