// A SketchUp C API that only records: see sketchup_recorder.h for how tests script and read it.
#include <SketchUpAPI/sketchup.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/conformance/recording_sdk/recorder.h"
#include "tests/conformance/recording_sketchup/sketchup_recorder.h"

namespace {

struct Edge {
  std::uint32_t faceCount;
  SUVector3D normals[2];
};

struct Object {
  std::string label;
  std::string text;
  Object* entities = nullptr;
  std::vector<Object*> materials;
  std::vector<Object*> definitions;
  Edge edge = {};
  std::size_t faces = 0;
};

struct Script {
  std::map<std::string, unsigned int> numbering;
  std::set<std::string> failingFunctions;
  std::int64_t failingCall = -1;
  std::int64_t calls = 0;
  std::vector<Edge> edges;
  std::vector<std::string> materials;
};

Script script;
std::deque<Object> objects;  // never freed: a reference stays readable whatever becomes of it
std::int64_t liveStrings = 0;

std::string enclose(char before, std::string const& text, char after) {
  std::string result(1, before);
  result += text;
  result += after;
  return result;
}

void addItem(std::string& list, std::string const& item) {
  if (!list.empty()) {
    list += ' ';
  }
  list += item;
}

std::string show(void const* pointer) {
  return pointer == nullptr ? "invalid" : static_cast<Object const*>(pointer)->label;
}
std::string show(char const* value) {
  return value == nullptr ? "null" : enclose('"', value, '"');
}
std::string show(bool value) {
  return value ? "true" : "false";
}
std::string show(std::size_t value) {
  return std::to_string(value);
}
std::string show(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}
std::string showString(SUStringRef string) {
  return string.ptr == nullptr ? "invalid" : enclose('"', static_cast<Object*>(string.ptr)->text, '"');
}

template <typename Reference>
Object* at(Reference reference) {
  return static_cast<Object*>(reference.ptr);
}

// Records the call and, unless it is to fail, does what it does.
template <typename Work>
SUResult run(char const* name, std::initializer_list<std::string> arguments, Work&& work) {
  std::string line = name;
  for (std::string const& argument : arguments) {
    line += ' ';
    line += argument;
  }
  bool const fails = script.calls == script.failingCall || script.failingFunctions.count(name) != 0;
  ++script.calls;
  if (fails) {
    line += " fails";
    recorder_note(line.c_str());
    return SU_ERROR_GENERIC;
  }
  std::string const recorded = line;
  SUResult const result = work(line);
  recorder_note(
      (result == SU_ERROR_NONE ? line : recorded + (result == SU_ERROR_OVERWRITE_VALID ? " OVERWRITES" : " refuses"))
          .c_str());
  return result;
}

Object* makeObject(std::string const& label) {
  objects.emplace_back();
  objects.back().label = label;
  return &objects.back();
}

Object* makeNumbered(std::string const& kind) {
  return makeObject(kind + std::to_string(++script.numbering[kind]));
}

template <typename Reference>
SUResult give(Reference* reference, Object* object) {
  if (reference->ptr != nullptr) {
    return SU_ERROR_OVERWRITE_VALID;
  }
  reference->ptr = object;
  return SU_ERROR_NONE;
}

template <typename Reference>
SUResult create(char const* name, char const* kind, Reference* reference) {
  return run(name, {}, [&](std::string& line) {
    if (reference->ptr != nullptr) {
      return SU_ERROR_OVERWRITE_VALID;
    }
    Object* const object = makeNumbered(kind);
    line += ' ' + object->label;
    return give(reference, object);
  });
}

template <typename Reference>
SUResult getEntities(char const* name, Reference owner, SUEntitiesRef* entities) {
  return run(name, {show(owner.ptr)}, [&](std::string&) {
    Object* const object = at(owner);
    if (object->entities == nullptr) {
      object->entities = makeObject(object->label + ".entities");
    }
    return give(entities, object->entities);
  });
}

template <typename Reference>
SUResult getName(char const* function, Reference reference, SUStringRef* name) {
  return run(function, {show(reference.ptr)}, [&](std::string&) {
    if (name->ptr == nullptr) {
      return SU_ERROR_INVALID_OUTPUT;
    }
    at(*name)->text = at(reference)->text;
    return SU_ERROR_NONE;
  });
}

template <typename Reference>
SUResult setName(char const* function, Reference reference, char const* name) {
  return run(function, {show(reference.ptr), show(name)}, [&](std::string&) {
    at(reference)->text = name;
    return SU_ERROR_NONE;
  });
}

SUResult succeed(std::string&) {
  return SU_ERROR_NONE;
}

std::string showTransform(SUTransformation const* transform) {
  std::string text;
  for (double const value : transform->values) {
    text += text.empty() ? "" : ",";
    text += show(value);
  }
  return text;
}

template <typename Reference>
SUResult copyReferences(std::vector<Object*> const& list, std::size_t length, Reference* references,
                        std::size_t* count) {
  if (references == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  *count = list.size() < length ? list.size() : length;
  for (std::size_t index = 0; index < *count; ++index) {
    references[index].ptr = list[index];
  }
  return SU_ERROR_NONE;
}

SUResult setFaceMaterial(char const* function, SUGeometryInputRef geometry, std::size_t face,
                         SUMaterialInput const* input) {
  std::string uvs;
  for (std::size_t place = 0; place < input->num_uv_coords; ++place) {
    addItem(uvs, show(input->uv_coords[place].x));
    uvs += ',';
    uvs += show(input->uv_coords[place].y);
  }
  std::string vertices;
  for (std::size_t place = 0; place < 3; ++place) {
    addItem(vertices, show(input->vertex_indices[place]));
  }
  return run(
      function,
      {show(geometry.ptr), show(face), show(input->material.ptr), enclose('[', uvs, ']'), enclose('[', vertices, ']')},
      succeed);
}

}  // namespace

extern "C" {

void sketchup_recorder_reset(void) {
  script = Script();
}
void sketchup_recorder_fail_call(std::int64_t place) {
  script.failingCall = place;
}
void sketchup_recorder_fail_function(char const* name) {
  script.failingFunctions.insert(name);
}
std::int64_t sketchup_recorder_calls(void) {
  return script.calls;
}
void sketchup_recorder_add_edge(std::uint32_t face_count, double const* normals) {
  script.edges.push_back({face_count, {{normals[0], normals[1], normals[2]}, {normals[3], normals[4], normals[5]}}});
}
void sketchup_recorder_add_material(char const* name) {
  script.materials.push_back(name);
}
std::int64_t sketchup_recorder_strings(void) {
  return liveStrings;
}

void SUInitialize(void) {
  recorder_note("SUInitialize");
}
void SUTerminate(void) {
  recorder_note("SUTerminate");
}

SUResult SUModelCreate(SUModelRef* model) {
  SUResult const result = create("SUModelCreate", "model", model);
  for (std::string const& name : script.materials) {
    if (result == SU_ERROR_NONE) {
      Object* const material = makeNumbered("given");
      material->text = name;
      at(*model)->materials.push_back(material);
    }
  }
  return result;
}
SUResult SUModelRelease(SUModelRef* model) {
  return run("SUModelRelease", {show(model->ptr)}, [&](std::string&) {
    model->ptr = nullptr;
    return SU_ERROR_NONE;
  });
}
SUResult SUModelGetEntities(SUModelRef model, SUEntitiesRef* entities) {
  return getEntities("SUModelGetEntities", model, entities);
}
SUResult SUModelAddMaterials(SUModelRef model, size_t len, const SUMaterialRef materials[]) {
  return run("SUModelAddMaterials", {show(model.ptr), show(len), show(materials[0].ptr)}, [&](std::string&) {
    at(model)->materials.push_back(at(materials[0]));
    return SU_ERROR_NONE;
  });
}
SUResult SUModelGetNumMaterials(SUModelRef model, size_t* count) {
  return run("SUModelGetNumMaterials", {show(model.ptr)}, [&](std::string&) {
    *count = at(model)->materials.size();
    return SU_ERROR_NONE;
  });
}
SUResult SUModelGetMaterials(SUModelRef model, size_t len, SUMaterialRef materials[], size_t* count) {
  return run("SUModelGetMaterials", {show(model.ptr), show(len)},
             [&](std::string&) { return copyReferences(at(model)->materials, len, materials, count); });
}
SUResult SUModelAddComponentDefinitions(SUModelRef model, size_t len, const SUComponentDefinitionRef components[]) {
  return run("SUModelAddComponentDefinitions", {show(model.ptr), show(len), show(components[0].ptr)},
             [&](std::string&) {
               at(model)->definitions.push_back(at(components[0]));
               return SU_ERROR_NONE;
             });
}
SUResult SUModelGetNumComponentDefinitions(SUModelRef model, size_t* count) {
  return run("SUModelGetNumComponentDefinitions", {show(model.ptr)}, [&](std::string&) {
    *count = at(model)->definitions.size();
    return SU_ERROR_NONE;
  });
}
SUResult SUModelGetComponentDefinitions(SUModelRef model, size_t len, SUComponentDefinitionRef definitions[],
                                        size_t* count) {
  return run("SUModelGetComponentDefinitions", {show(model.ptr), show(len)},
             [&](std::string&) { return copyReferences(at(model)->definitions, len, definitions, count); });
}
SUResult SUModelSaveToFile(SUModelRef model, const char* file_path) {
  return run("SUModelSaveToFile", {show(model.ptr), show(file_path)}, succeed);
}

SUResult SUEntitiesFill(SUEntitiesRef entities, SUGeometryInputRef geom_input, bool weld_vertices) {
  return run("SUEntitiesFill", {show(entities.ptr), show(geom_input.ptr), show(weld_vertices)}, succeed);
}
SUResult SUEntitiesAddGroup(SUEntitiesRef entities, SUGroupRef group) {
  return run("SUEntitiesAddGroup", {show(entities.ptr), show(group.ptr)}, succeed);
}
SUResult SUEntitiesAddInstance(SUEntitiesRef entities, SUComponentInstanceRef instance, SUStringRef* name) {
  return run("SUEntitiesAddInstance",
             {show(entities.ptr), show(instance.ptr), name == nullptr ? "null" : showString(*name)}, succeed);
}
SUResult SUEntitiesGetNumEdges(SUEntitiesRef entities, bool standalone_only, size_t* count) {
  return run("SUEntitiesGetNumEdges", {show(entities.ptr), show(standalone_only)}, [&](std::string&) {
    *count = script.edges.size();
    return SU_ERROR_NONE;
  });
}
SUResult SUEntitiesGetEdges(SUEntitiesRef entities, bool standalone_only, size_t len, SUEdgeRef edges[],
                            size_t* count) {
  return run("SUEntitiesGetEdges", {show(entities.ptr), show(standalone_only), show(len)}, [&](std::string&) {
    std::vector<Object*> made;
    for (Edge const& edge : script.edges) {
      made.push_back(makeNumbered("edge"));
      made.back()->edge = edge;
    }
    return copyReferences(made, len, edges, count);
  });
}

SUResult SUEdgeGetNumFaces(SUEdgeRef edge, size_t* count) {
  return run("SUEdgeGetNumFaces", {show(edge.ptr)}, [&](std::string&) {
    *count = at(edge)->edge.faceCount;
    return SU_ERROR_NONE;
  });
}
SUResult SUEdgeGetFaces(SUEdgeRef edge, size_t len, SUFaceRef faces[], size_t* count) {
  return run("SUEdgeGetFaces", {show(edge.ptr), show(len)}, [&](std::string&) {
    std::vector<Object*> made;
    for (SUVector3D const& normal : at(edge)->edge.normals) {
      made.push_back(makeNumbered("face"));
      made.back()->edge.normals[0] = normal;
    }
    return copyReferences(made, len, faces, count);
  });
}
SUResult SUEdgeSetSoft(SUEdgeRef edge, bool soft_flag) {
  return run("SUEdgeSetSoft", {show(edge.ptr), show(soft_flag)}, succeed);
}
SUResult SUEdgeSetSmooth(SUEdgeRef edge, bool smooth_flag) {
  return run("SUEdgeSetSmooth", {show(edge.ptr), show(smooth_flag)}, succeed);
}
SUResult SUFaceGetNormal(SUFaceRef face, SUVector3D* normal) {
  return run("SUFaceGetNormal", {show(face.ptr)}, [&](std::string&) {
    if (face.ptr == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    *normal = at(face)->edge.normals[0];
    return SU_ERROR_NONE;
  });
}

SUResult SUGroupCreate(SUGroupRef* group) {
  return create("SUGroupCreate", "group", group);
}
SUResult SUGroupSetName(SUGroupRef group, const char* name) {
  return setName("SUGroupSetName", group, name);
}
SUResult SUGroupSetTransform(SUGroupRef group, const SUTransformation* transform) {
  return run("SUGroupSetTransform", {show(group.ptr), showTransform(transform)}, succeed);
}
SUResult SUGroupGetEntities(SUGroupRef group, SUEntitiesRef* entities) {
  return getEntities("SUGroupGetEntities", group, entities);
}

SUResult SUComponentDefinitionCreate(SUComponentDefinitionRef* comp_def) {
  return create("SUComponentDefinitionCreate", "definition", comp_def);
}
SUResult SUComponentDefinitionSetName(SUComponentDefinitionRef comp_def, const char* name) {
  return setName("SUComponentDefinitionSetName", comp_def, name);
}
SUResult SUComponentDefinitionGetName(SUComponentDefinitionRef comp_def, SUStringRef* name) {
  return getName("SUComponentDefinitionGetName", comp_def, name);
}
SUResult SUComponentDefinitionGetEntities(SUComponentDefinitionRef comp_def, SUEntitiesRef* entities) {
  return getEntities("SUComponentDefinitionGetEntities", comp_def, entities);
}
SUResult SUComponentDefinitionCreateInstance(SUComponentDefinitionRef comp_def, SUComponentInstanceRef* instance) {
  return run("SUComponentDefinitionCreateInstance", {show(comp_def.ptr)}, [&](std::string& line) {
    if (instance->ptr != nullptr) {
      return SU_ERROR_OVERWRITE_VALID;
    }
    Object* const object = makeNumbered("instance");
    line += ' ' + object->label;
    return give(instance, object);
  });
}
SUResult SUComponentInstanceSetTransform(SUComponentInstanceRef instance, const SUTransformation* transform) {
  return run("SUComponentInstanceSetTransform", {show(instance.ptr), showTransform(transform)}, succeed);
}

SUResult SULoopInputCreate(SULoopInputRef* loop_input) {
  return create("SULoopInputCreate", "loop", loop_input);
}
SUResult SULoopInputAddVertexIndex(SULoopInputRef loop_input, size_t vertex_index) {
  return run("SULoopInputAddVertexIndex", {show(loop_input.ptr), show(vertex_index)}, succeed);
}
SUResult SULoopInputEdgeSetSoft(SULoopInputRef loop_input, size_t edge_index, bool soft) {
  return run("SULoopInputEdgeSetSoft", {show(loop_input.ptr), show(edge_index), show(soft)}, succeed);
}
SUResult SULoopInputEdgeSetSmooth(SULoopInputRef loop_input, size_t edge_index, bool smooth) {
  return run("SULoopInputEdgeSetSmooth", {show(loop_input.ptr), show(edge_index), show(smooth)}, succeed);
}

SUResult SUGeometryInputCreate(SUGeometryInputRef* geom_input) {
  return create("SUGeometryInputCreate", "geometry", geom_input);
}
SUResult SUGeometryInputRelease(SUGeometryInputRef* geom_input) {
  return run("SUGeometryInputRelease", {show(geom_input->ptr)}, [&](std::string&) {
    geom_input->ptr = nullptr;
    return SU_ERROR_NONE;
  });
}
SUResult SUGeometryInputSetVertices(SUGeometryInputRef geom_input, size_t num_vertices, const SUPoint3D points[]) {
  std::string list;
  for (std::size_t index = 0; index < num_vertices; ++index) {
    addItem(list, show(points[index].x));
    list += ',';
    list += show(points[index].y);
    list += ',';
    list += show(points[index].z);
  }
  return run("SUGeometryInputSetVertices", {show(geom_input.ptr), show(num_vertices), enclose('[', list, ']')},
             succeed);
}
SUResult SUGeometryInputAddFace(SUGeometryInputRef geom_input, SULoopInputRef* outer_loop, size_t* added_face_index) {
  return run("SUGeometryInputAddFace", {show(geom_input.ptr), show(outer_loop->ptr)}, [&](std::string&) {
    if (outer_loop->ptr == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    outer_loop->ptr = nullptr;
    // Not from 0, so that the index used is seen to be this one.
    *added_face_index = 100 + at(geom_input)->faces++;
    return SU_ERROR_NONE;
  });
}
SUResult SUGeometryInputFaceSetFrontMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                             const SUMaterialInput* material_input) {
  return setFaceMaterial("SUGeometryInputFaceSetFrontMaterial", geom_input, face_index, material_input);
}
SUResult SUGeometryInputFaceSetBackMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                            const SUMaterialInput* material_input) {
  return setFaceMaterial("SUGeometryInputFaceSetBackMaterial", geom_input, face_index, material_input);
}

SUResult SUMaterialCreate(SUMaterialRef* material) {
  return create("SUMaterialCreate", "material", material);
}
SUResult SUMaterialSetName(SUMaterialRef material, const char* name) {
  return setName("SUMaterialSetName", material, name);
}
SUResult SUMaterialGetName(SUMaterialRef material, SUStringRef* name) {
  return getName("SUMaterialGetName", material, name);
}
SUResult SUMaterialSetColor(SUMaterialRef material, const SUColor* color) {
  std::string text;
  for (SUByte const component : {color->red, color->green, color->blue, color->alpha}) {
    text += text.empty() ? "" : ",";
    text += std::to_string(component);
  }
  return run("SUMaterialSetColor", {show(material.ptr), text}, succeed);
}
SUResult SUMaterialSetTexture(SUMaterialRef material, SUTextureRef texture) {
  return run("SUMaterialSetTexture", {show(material.ptr), show(texture.ptr)}, succeed);
}
SUResult SUTextureCreateFromFile(SUTextureRef* texture, const char* file_path, double s_scale, double t_scale) {
  return run("SUTextureCreateFromFile", {show(file_path), show(s_scale), show(t_scale)}, [&](std::string& line) {
    if (texture->ptr != nullptr) {
      return SU_ERROR_OVERWRITE_VALID;
    }
    Object* const object = makeNumbered("texture");
    line += ' ' + object->label;
    return give(texture, object);
  });
}

SUResult SUStringCreate(SUStringRef* out_string_ref) {
  return run("SUStringCreate", {}, [&](std::string&) {
    SUResult const result = give(out_string_ref, makeObject("string"));
    liveStrings += result == SU_ERROR_NONE ? 1 : 0;
    return result;
  });
}
SUResult SUStringCreateFromUTF8(SUStringRef* out_string_ref, const char* char_array) {
  return run("SUStringCreateFromUTF8", {show(char_array)}, [&](std::string&) {
    SUResult const result = give(out_string_ref, makeObject("string"));
    if (result == SU_ERROR_NONE) {
      at(*out_string_ref)->text = char_array;
      ++liveStrings;
    }
    return result;
  });
}
SUResult SUStringRelease(SUStringRef* string_ref) {
  // Scripted or not, a release happens: tests count what is alive.
  liveStrings -= string_ref->ptr == nullptr ? 0 : 1;
  return run("SUStringRelease", {showString(*string_ref)}, [&](std::string&) {
    string_ref->ptr = nullptr;
    return SU_ERROR_NONE;
  });
}
SUResult SUStringGetUTF8Length(SUStringRef string_ref, size_t* out_length) {
  return run("SUStringGetUTF8Length", {showString(string_ref)}, [&](std::string&) {
    *out_length = at(string_ref)->text.size();
    return SU_ERROR_NONE;
  });
}
SUResult SUStringGetUTF8(SUStringRef string_ref, size_t char_array_length, char* out_char_array,
                         size_t* out_number_of_chars_copied) {
  return run("SUStringGetUTF8", {showString(string_ref), show(char_array_length)}, [&](std::string&) {
    std::string const& text = at(string_ref)->text;
    *out_number_of_chars_copied = text.size() < char_array_length ? text.size() : char_array_length;
    std::memcpy(out_char_array, text.c_str(), text.size() < char_array_length ? text.size() + 1 : char_array_length);
    return SU_ERROR_NONE;
  });
}
SUResult SUStringCompare(SUStringRef a, SUStringRef b, int* result) {
  return run("SUStringCompare", {showString(a), showString(b)}, [&](std::string&) {
    if (a.ptr == nullptr || b.ptr == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    *result = at(a)->text.compare(at(b)->text);
    return SU_ERROR_NONE;
  });
}

}  // extern "C"
