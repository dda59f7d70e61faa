// The arrays behind Geom::PolygonMesh, without any Ruby object in them.
//
// Points are numbered from 1 towards Ruby; here, array index = number - 1. A corner is the 1-based number of its
// point, negative where the edge that starts at the corner is hidden. Memory comes from Ruby's allocator, which
// raises NoMemoryError where there is none; every function leaves the mesh valid then.
#ifndef MIREL_HOST_POLYGON_MESH_H
#define MIREL_HOST_POLYGON_MESH_H

#include <stddef.h>
#include <stdint.h>

#include "mirel_host.h"

typedef struct PolygonMesh {
  Triple* points;
  size_t point_count;
  size_t point_capacity;

  // Each null, or point_capacity entries. A normal whose x is NaN was not given.
  Triple* normals;
  Triple* front_uvs;
  Triple* back_uvs;

  int32_t* corners;
  size_t corner_count;
  size_t corner_capacity;
  size_t* polygon_ends;  // per polygon: one past its last corner
  size_t polygon_count;
  size_t polygon_capacity;

  // Mean normals of the polygons around each point, made on demand; null when they are out of date.
  Triple* mean_normals;

  // Open addressing over exactly equal points: point number, or 0. Null until a point is looked up.
  uint32_t* lookup;
  size_t lookup_size;
} PolygonMesh;

void polygon_mesh_free(PolygonMesh* mesh);
size_t polygon_mesh_bytes(PolygonMesh const* mesh);
void polygon_mesh_copy(PolygonMesh* to, PolygonMesh const* from);

void polygon_mesh_reserve_points(PolygonMesh* mesh, size_t count);
void polygon_mesh_reserve_corners(PolygonMesh* mesh, size_t count);
void polygon_mesh_reserve_polygons(PolygonMesh* mesh, size_t count);

// The array at *field (normals or one of the UV arrays), made and filled with `fill` where it is missing.
Triple* polygon_mesh_attribute(PolygonMesh* mesh, Triple** field, Triple fill);

// Adds the point, or finds it: the number of the first point that is exactly equal.
uint32_t polygon_mesh_add_point(PolygonMesh* mesh, Triple point);
// The number of the first point that is exactly equal; 0 where there is none.
uint32_t polygon_mesh_find_point(PolygonMesh* mesh, Triple point);

// Adds a polygon of corners whose points exist; returns its 1-based number.
size_t polygon_mesh_add_polygon(PolygonMesh* mesh, int32_t const* corners, size_t count);

// The given normal of a point, or the mean of the polygons around it, weighted by their areas; unit length, or
// zero where there is no such polygon.
Triple polygon_mesh_normal(PolygonMesh* mesh, size_t point);

// Moves every point (and turns the given normals) by a column-major 4 x 4 matrix.
void polygon_mesh_transform(PolygonMesh* mesh, double const matrix[16]);

// To be called after a change to points or polygons that the functions above did not make.
void polygon_mesh_points_changed(PolygonMesh* mesh);

#endif
