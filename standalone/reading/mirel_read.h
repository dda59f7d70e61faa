// Reads a mesh file of any format that assimp knows (STL, glTF/GLB, DAE, 3DS, OFF, …) into plain arrays, as C.
//
// A scene is a tree of nodes, of which some show a shape: the meshes of one node, by material. Nodes that show the same
// meshes share the shape. Of meshes only triangles are taken: polygons are cut, lines and points left out. Nothing is
// joined, smoothed or invented: there are normals and UVs where the file has them. UVs count from the lower left corner
// of the image. Coordinates are as the file has them, in its unit and axes; the points of a shape are multiplied by a
// power of two, so that their node makes them smaller if anything: what moves no more than a length in a shape moves
// no more than it in the scene.
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

#define MIREL_READ_NONE 0xFFFFFFFFU

// The triangles of one material in a shape that have the same attributes. Those of a shape come one after the other.
typedef struct MirelReadMesh {
  uint32_t shape;             // number of the shape
  uint32_t material;          // number of the material
  uint32_t point_count;       //
  uint32_t triangle_count;    //
  float const* points;        // point_count x 3
  float const* normals;       // point_count x 3, unit length or zero; null without normals
  float const* uvs;           // point_count x 2; null without UVs
  uint32_t const* triangles;  // triangle_count x 3 point numbers, counter-clockwise from outside
} MirelReadMesh;

typedef struct MirelReadShape {
  char const* name;  // UTF-8, "" where it has none
  double scale;      // from the points to the node: a power of two
} MirelReadShape;

// Nodes come after their parents; the first one is the root.
typedef struct MirelReadNode {
  char const* name;      // UTF-8, "" where it has none
  uint32_t parent;       // number of a node; MIREL_READ_NONE for the root
  uint32_t shape;        // number of a shape; MIREL_READ_NONE where it shows nothing
  double transform[16];  // to the parent: 4 x 4, column by column, translation in 12-14
} MirelReadNode;

typedef struct MirelReadMaterial {
  char const* name;       // UTF-8, "" where it has none
  char const* texture;    // path of the colour texture as the file names it, "*N" for one inside it; "" without one
  float color[4];         // red, green, blue, opacity, nominally 0 to 1
  uint32_t has_color;     // 0 where the file gives no colour; color is white then
  uint32_t is_one_sided;  // 1 where the file says that backs are not to be seen
} MirelReadMaterial;

// A texture inside the file: an image file of its own.
typedef struct MirelReadTexture {
  char const* name;            // UTF-8, "" where it has none
  char const* extension;       // "png", "jpg", …; "" where it is not known
  unsigned char const* bytes;  // byte_count of them; none where it is no image file
  uint64_t byte_count;
} MirelReadTexture;

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
uint32_t mirel_read_shape_count(MirelReadScene const* scene);
uint32_t mirel_read_node_count(MirelReadScene const* scene);
uint32_t mirel_read_texture_count(MirelReadScene const* scene);
// Each fills its record (zeroes, "" and MIREL_READ_NONE where the number does not exist).
void mirel_read_mesh(MirelReadScene const* scene, uint32_t number, MirelReadMesh* mesh);
void mirel_read_material(MirelReadScene const* scene, uint32_t number, MirelReadMaterial* material);
void mirel_read_shape(MirelReadScene const* scene, uint32_t number, MirelReadShape* shape);
void mirel_read_node(MirelReadScene const* scene, uint32_t number, MirelReadNode* node);
void mirel_read_texture(MirelReadScene const* scene, uint32_t number, MirelReadTexture* texture);
// The length of a unit; 0 where the file does not say.
double mirel_read_meters_per_unit(MirelReadScene const* scene);
// 1 where z points up, by what the file or its format says; 0 for y, and where neither says anything.
int mirel_read_is_z_up(MirelReadScene const* scene);
// What the file holds before polygons are cut, each mesh counted once: for comparison with the counts in a header.
uint64_t mirel_read_source_points(MirelReadScene const* scene);
uint64_t mirel_read_source_polygons(MirelReadScene const* scene);

// The triangles where the nodes put them; lowest x, y, z, then highest x, y, z of their points, untouched where there
// are none.
uint64_t mirel_read_survey(MirelReadScene const* scene, double bounds[6]);

// Frees the scene; null is ignored.
void mirel_read_free(MirelReadScene* scene);

#ifdef __cplusplus
}
#endif

#endif
