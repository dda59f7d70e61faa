// The inner header of mirel_host, the C half of Geom: points and vectors, and polygon meshes in compact arrays.
//
// A point or a vector is a Ruby object around three doubles; a mesh keeps plain arrays and makes point, vector and
// index objects only when it is asked for one, so that a mesh of a million faces costs what its numbers cost.
#ifndef MIREL_HOST_H
#define MIREL_HOST_H

#include <ruby.h>

// Three coordinates, as a point or a vector has them.
typedef struct Triple {
  double x;
  double y;
  double z;
} Triple;

extern VALUE mirel_host_point_class;
extern VALUE mirel_host_vector_class;

VALUE mirel_host_new_point(double x, double y, double z);
VALUE mirel_host_new_vector(double x, double y, double z);

// The coordinates of a point, a vector, or an array of two or three numbers (a missing third is 0). Raises
// ArgumentError for anything else.
Triple mirel_host_triple(VALUE value);

void mirel_host_define_triples(VALUE geom);
void mirel_host_define_polygon_mesh(VALUE geom);
void mirel_host_define_packing(void);

#endif
