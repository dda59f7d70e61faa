// How far two triangle meshes are from each other, as C: distances for a heat map, and figures for a report.
//
// Distances are exact from a point to a triangle, computed in double, in the model units of the positions. A mesh
// is a handle made from arrays, which are copied; it holds a bounding volume tree (about 110 bytes for each face).
// Faces without area are allowed and count as the segment or the point that they are. Indices count from 0.
//
// A handle never changes once it is made, so several threads may use one at the same time. Results do not depend on
// the number of threads and are the same on every run. No function throws. Every function that returns a status
// leaves its outputs untouched unless the status is kMirelCompareOk.
#ifndef MIREL_COMPARE_H
#define MIREL_COMPARE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kMirelCompareOk = 0,
  kMirelCompareBadArgument = 1,  // a null pointer, or an option out of its range
  kMirelCompareEmpty = 2,        // no faces; remedy: none, there is no surface
  kMirelCompareBadIndex = 3,     // a face names a position that does not exist
  kMirelCompareNotFinite = 4,    // a corner of a face is not finite; positions that no face uses may be
  kMirelCompareNoArea = 5,       // no face of a mesh has an area, so that there is nothing to take samples of
  kMirelCompareOutOfMemory = 6,  //
  kMirelCompareNotWritten = 7    // a file could not be written; errno tells why
};

// One line in English for a status, without a full stop. Never null.
char const* mirel_compare_status_text(int status);

typedef struct MirelCompareMesh MirelCompareMesh;

// Makes a mesh; the caller frees it.
//   positions  position_count x 3, model units
//   faces      face_count x 3 numbers of positions, counter-clockwise from outside
//   mesh       gets the handle
//   place      (optional, may be null) gets the face at fault after kMirelCompareBadIndex and kMirelCompareNotFinite
int mirel_compare_mesh_create(float const* positions, uint32_t position_count, uint32_t const* faces,
                              uint32_t face_count, MirelCompareMesh** mesh, uint32_t* place);
// Frees it; null is ignored.
void mirel_compare_mesh_free(MirelCompareMesh* mesh);
// Where a transformation puts positions; a help for putting the meshes of a scene together.
//   positions  position_count x 3
//   transform  4 x 4, column by column, the translation in 12 to 14; what a projection would need is left aside
//   placed     gets position_count x 3; may be `positions`
int mirel_compare_place(float const* positions, uint32_t position_count, double const transform[16], float* placed);
// Length of the diagonal of the bounding box of all faces, model units.
double mirel_compare_mesh_diagonal(MirelCompareMesh const* mesh);

// The distance of each point from the surface of a mesh: a heat map.
//   points     point_count x 3, model units
//   threads    1 to 64; 0: as many as there are processors
//   distances  point_count floats, model units, 0 or more; NaN for a point that is not finite
// Points in spatial order (neighbours one after the other, as mesh files mostly have them) are quickest.
int mirel_compare_distances(MirelCompareMesh const* mesh, float const* points, uint32_t point_count, uint32_t threads,
                            float* distances);

typedef struct MirelCompareOptions {
  uint64_t samples;       // points on each surface, spread evenly over its area: 1 to 10^10; more is more accurate
  double exact_accuracy;  // 0: maxima are sampled; above 0: they are bounded, to this relative accuracy (0.01: 1 %)
  uint32_t threads;       // 1 to 64; 0: as many as there are processors
  uint32_t reserved;      // 0
} MirelCompareOptions;

// From every point of one surface to the nearest of the other.
typedef struct MirelCompareDirection {
  double rms;               // root of the mean squared distance over the area
  double mean;              // mean distance over the area
  double max;               // largest distance found: of samples, of all vertices, of exact search where asked for
  double max_bound;         // no point at all is farther away; NaN unless exact_accuracy is above 0
  double normal_degrees;    // mean angle, 0 to 180 degrees, between the normals here and at the nearest point
  double worst_point[3];    // where `max` is found, on this surface
  double nearest_point[3];  // the point of the other surface nearest to it
  double area;              // of this surface, square model units
  uint64_t samples;         // taken of the area
  uint64_t vertices;        // tried besides, for `max`
} MirelCompareDirection;

typedef struct MirelCompareResult {
  MirelCompareDirection first_to_second;
  MirelCompareDirection second_to_first;
  double rms;             // root of the mean of both directions' squares
  double mean;            // mean of both directions
  double max;             // larger one of both directions
  double max_bound;       // larger one of both directions; NaN unless exact_accuracy is above 0
  double normal_degrees;  // mean of both directions
  double diagonal;        // of the first mesh: what relative figures refer to
} MirelCompareResult;

// 500,000 samples, maxima sampled, as many threads as there are processors.
void mirel_compare_default_options(MirelCompareOptions* options);

// Compares two surfaces in both directions. A sampled maximum is never too large and may be too small: raise
// `samples`, or ask for the exact bound, which takes longer on surfaces that are far from each other.
int mirel_compare_meshes(MirelCompareMesh const* first, MirelCompareMesh const* second,
                         MirelCompareOptions const* options, MirelCompareResult* result);

// Colours for distances: dark blue at 0 over green to red at `high` and above; grey for NaN.
//   high    model units, above 0
//   colors  count x 3 bytes: red, green, blue
int mirel_compare_colors(float const* distances, uint32_t count, float high, uint8_t* colors);

// Writes positions with their distances and colours, and faces, as binary PLY (little endian): vertex properties x, y,
// z, red, green, blue, distance. The file is brought to the disk; a file that could not be completed is left behind.
//   path  UTF-8, the file to write
int mirel_compare_write_ply(char const* path, float const* positions, float const* distances, uint32_t position_count,
                            uint32_t const* faces, uint32_t face_count, float high);

#ifdef __cplusplus
}
#endif

#endif
