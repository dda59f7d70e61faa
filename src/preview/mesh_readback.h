// Hands the current geometry of a mesh to Ruby: corners and edges for the viewport, distinct vertices, bounds, UVs,
// and the whole mesh in indexed form.
//
// A mesh is named by its 0-based Integer index in the depot, a transform is an Array of 16 numbers in the order of
// Transformation#to_a. A point is a fresh Array of three Floats, in the mesh's units, transformed where a transform
// is given. Where the depot, the mesh or one of its tables is missing, one line on the console says so and the result
// is false. Arguments of another kind raise TypeError or RangeError; what was appended before stays.
#pragma once

#include <ruby.h>

// get_triangles: appends to @triangles one Array per face set that has a face table, of three points per triangle,
// and to @lines six points per triangle: p0, p1, p1, p2, p2, p0. The first point of an edge is the very object that
// stands in the face set's Array. A mesh without face sets is read as one set. The preview references name these
// arrays, and @mesh_points, from then on. Returns nil.
VALUE getTriangles(VALUE self, VALUE meshIndex, VALUE transform);

// get_points: appends to @mesh_points one point per distinct vertex. Returns nil.
VALUE getPoints(VALUE self, VALUE meshIndex, VALUE transform);

// get_mesh_bounds: a Geom::BoundingBox in the mesh's own coordinates, empty when the mesh has no bounds.
VALUE getMeshBounds(VALUE self, VALUE meshIndex);

// get_uvs: of the current mesh, an Array with one entry per face set, each of which is the one Array of [u, v, 1.0]
// per corner of all face sets. Empty without faces, and, after a console line, without UVs per vertex.
VALUE getUVs(VALUE self);

// get_remapped_mesh: of the current mesh, sets @remapped_points, @remapped_uvs ([u, v] each) and
// @remapped_face_sets, one Array per face set of three 0-based indices into the points per face. Returns true.
VALUE getRemappedMesh(VALUE self);
