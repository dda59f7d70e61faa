// Reads a mesh file of any format that assimp knows (STL, glTF/GLB, DAE, 3DS, OFF, …) into plain arrays, as C.
//
// Of a scene only its triangles are taken: every node's mesh at the place where the scene puts it, polygons cut into
// triangles, lines and points left out. Coordinates are in the file's units; a mirroring node has its triangles
// turned, so that they still face outwards. Nothing is joined, smoothed or invented: there are normals and UVs
// where the file has them. UVs count from the lower left corner of the image.
//
// A scene belongs to the caller until mirel_read_free; every pointer that a scene gives lives as long as it.
// No function throws. A scene is not to be used by two threads at once.
#ifndef MIREL_READ_H
#define MIREL_READ_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct MirelReadScene MirelReadScene;

// The triangles of one material that have the same attributes.
typedef struct MirelReadMesh {
  uint32_t material;          // number of the material
  uint32_t point_count;       // points are not shared between places in the scene
  uint32_t triangle_count;    //
  uint32_t reserved;          // 0
  float const* points;        // point_count x 3
  float const* normals;       // point_count x 3, unit length or zero; null without normals
  float const* uvs;           // point_count x 2; null without UVs
  uint32_t const* triangles;  // triangle_count x 3 point numbers, counter-clockwise from outside
} MirelReadMesh;

typedef struct MirelReadMaterial {
  char const* name;     // UTF-8, "" where it has none
  char const* texture;  // path of the colour texture as the file names it; "" without one
  float color[4];       // red, green, blue, opacity, nominally 0 to 1
  uint32_t has_color;   // 0 where the file gives no colour; color is white then
  uint32_t reserved;    // 0
} MirelReadMaterial;

// Told how far the reading is, 0 to 1, as far as the format lets it be known.
typedef void (*MirelReadProgress)(float done);

// Reads a file.
//   path      UTF-8
//   progress  called now and then (optional, may be null)
//   error     error_size bytes; gets one line, cut to fit, that says why there is no scene
// Returns null where the file cannot be read, is cut short, or does not fit into memory; a file that is sound but
// has no triangles is a scene without meshes.
MirelReadScene* mirel_read_file(char const* path, MirelReadProgress progress, char* error, size_t error_size);

uint32_t mirel_read_mesh_count(MirelReadScene const* scene);
uint32_t mirel_read_material_count(MirelReadScene const* scene);
// Fills *mesh (zeroes where the number does not exist).
void mirel_read_mesh(MirelReadScene const* scene, uint32_t number, MirelReadMesh* mesh);
void mirel_read_material(MirelReadScene const* scene, uint32_t number, MirelReadMaterial* material);
// What the file holds before polygons are cut, each mesh counted once: for comparison with the counts in a header.
uint64_t mirel_read_source_points(MirelReadScene const* scene);
uint64_t mirel_read_source_polygons(MirelReadScene const* scene);

// Frees the scene; null is ignored.
void mirel_read_free(MirelReadScene* scene);

#ifdef __cplusplus
}
#endif

#endif
