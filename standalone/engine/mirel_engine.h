// What the standalone host wants to know beyond the mesh SDK's contract, as plain C.
//
// Every function speaks of the newest live depot of the process; without one, counts are 0, names are "" and
// arrays null. Meshes are numbered as in the depot. Arrays belong to the mesh and stay valid until it is next
// changed or moved. No function throws.
#ifndef MIREL_ENGINE_H
#define MIREL_ENGINE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Why the ladder ended: how many of the edges left at the last step each rule forbids.
typedef struct MirelLadderEnd {
  uint32_t tolerance;
  uint32_t locked_boundary;
  uint32_t foldover;
  uint32_t topology;
} MirelLadderEnd;

// A measuring of the deviation of one step.
typedef struct MirelMeasurement MirelMeasurement;

// The numbers of objects that are alive: for leak checks.
typedef struct MirelLiveObjects {
  uint32_t sdks;
  uint32_t depots;
  uint32_t meshes;
  uint32_t ladders;
} MirelLiveObjects;

enum { kMirelEdgeBoundary = 1, kMirelEdgeSharp = 2, kMirelEdgeUvSeam = 4 };

uint32_t mirel_engine_mesh_count(void);
// The name that the loaded file gives the mesh (UTF-8, "" where it gives none).
char const* mirel_engine_mesh_name(uint32_t mesh);
// Distinct vertex positions of the mesh at the current step; before preparation, its vertices.
uint32_t mirel_engine_vertex_count(uint32_t mesh);
// Faces of the mesh at the current step that have three different, finite corners: preparation drops the others.
uint32_t mirel_engine_usable_face_count(uint32_t mesh);
// Lowest x, y, z, then highest x, y, z of the mesh at the current step; 0, and bounds untouched, where it has none.
int mirel_engine_bounds(uint32_t mesh, float bounds[6]);
// The same of the mesh's usable faces where a transformation puts them: 4 x 4, column by column, translation in 12-14.
int mirel_engine_placed_bounds(uint32_t mesh, double const transform[16], double bounds[6]);
// Faces over all meshes at a step of the current ladder; 0 without a ladder.
uint32_t mirel_engine_face_count_at(uint32_t step);
// The mesh's arrays at the current step, as getVertices and getFaces give them: *count x 3 coordinates in model units,
// *count x 3 indices. Null, and *count 0, where there is none.
float const* mirel_engine_positions(uint32_t mesh, uint32_t* count);
uint32_t const* mirel_engine_faces(uint32_t mesh, uint32_t* count);
// face_count x 3 corners x (u, v) at the current step, in the order of getFaces; null where the mesh has no UVs.
float const* mirel_engine_corner_uvs(uint32_t mesh);
// face_count x 3 corners x (x, y, z) at the current step; null where the mesh has no normals.
float const* mirel_engine_corner_normals(uint32_t mesh);
// face_count x 3 edges at the current step, each from a corner to the next of its face: the kMirelEdge... that apply,
// added up; null where the mesh has no face. Boundary and sharp are as getFaceEdgeFlags tells them.
unsigned char const* mirel_engine_corner_edge_kinds(uint32_t mesh);
// A bound on the deviation of a step of the current ladder from step 0: no point of either surface is further from the
// other, mesh by mesh; a mesh that has vanished is compared with what is left of all of them where they lie in their
// own coordinates. In the units of the meshes. With a tolerance it was recorded when the step was made; else it is
// measured now, to 5 %, which can take several times as long as the ladder took, and kept. NaN without a ladder or
// memory.
double mirel_engine_deviation_bound(uint32_t step);
// The same where it is known without measuring, else NaN.
double mirel_engine_known_deviation_bound(uint32_t step);
// The measuring on a thread of the caller's. begin copies what it needs, on the thread that uses the depot; null
// without a ladder or memory. run may be called on any thread; NaN without memory. end frees.
MirelMeasurement* mirel_engine_measurement_begin(uint32_t step);
double mirel_engine_measurement_run(MirelMeasurement const* measurement);
void mirel_engine_measurement_end(MirelMeasurement* measurement);
// Both fill *result, so that callers without C structs as results can use them.
void mirel_engine_ladder_end(MirelLadderEnd* result);
void mirel_engine_live_objects(MirelLiveObjects* result);
// Why the last IMeshDepot::load of this process failed ("" where it did not): one line, UTF-8, with file and line.
char const* mirel_engine_load_error(void);

#ifdef __cplusplus
}
#endif

#endif
