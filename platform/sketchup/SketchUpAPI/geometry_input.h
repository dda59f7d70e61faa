/* Geometry gathered outside a model, to be poured into an entities collection at once. */
#pragma once

#include <SketchUpAPI/common.h>
#include <SketchUpAPI/geometry.h>

/* One side's material of one face: UVs of up to four of its vertices. */
struct SUMaterialInput {
  size_t num_uv_coords;
  struct SUPoint2D uv_coords[4];
  size_t vertex_indices[4];
  SUMaterialRef material;
};
#ifndef __cplusplus
typedef struct SUMaterialInput SUMaterialInput;
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SULoopInputCreate(SULoopInputRef* loop_input);
enum SUResult SULoopInputAddVertexIndex(SULoopInputRef loop_input, size_t vertex_index);
/* Edge k runs from the loop's vertex k to the next one. */
enum SUResult SULoopInputEdgeSetSoft(SULoopInputRef loop_input, size_t edge_index, bool soft);
enum SUResult SULoopInputEdgeSetSmooth(SULoopInputRef loop_input, size_t edge_index, bool smooth);

enum SUResult SUGeometryInputCreate(SUGeometryInputRef* geom_input);
enum SUResult SUGeometryInputRelease(SUGeometryInputRef* geom_input);
enum SUResult SUGeometryInputSetVertices(SUGeometryInputRef geom_input, size_t num_vertices,
                                         const struct SUPoint3D points[]);
/* Takes the loop over and sets its reference to invalid. */
enum SUResult SUGeometryInputAddFace(SUGeometryInputRef geom_input, SULoopInputRef* outer_loop,
                                     size_t* added_face_index);
enum SUResult SUGeometryInputFaceSetFrontMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                                  const struct SUMaterialInput* material_input);
enum SUResult SUGeometryInputFaceSetBackMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                                 const struct SUMaterialInput* material_input);

#ifdef __cplusplus
}
#endif
