#include "polygon_mesh.h"

#include <math.h>
#include <string.h>

static void* grow(void* array, size_t count, size_t element) {
  return ruby_xrealloc2(array, count, element);
}

static size_t next_capacity(size_t capacity, size_t needed) {
  size_t const doubled = capacity < 8 ? 8 : capacity * 2;
  return doubled < needed ? needed : doubled;
}

void polygon_mesh_free(PolygonMesh* mesh) {
  xfree(mesh->points);
  xfree(mesh->normals);
  xfree(mesh->front_uvs);
  xfree(mesh->back_uvs);
  xfree(mesh->corners);
  xfree(mesh->polygon_ends);
  xfree(mesh->mean_normals);
  xfree(mesh->lookup);
  memset(mesh, 0, sizeof *mesh);
}

size_t polygon_mesh_bytes(PolygonMesh const* mesh) {
  size_t const per_point = 1u + (mesh->normals ? 1u : 0u) + (mesh->front_uvs ? 1u : 0u) + (mesh->back_uvs ? 1u : 0u);
  return mesh->point_capacity * sizeof(Triple) * per_point + mesh->corner_capacity * sizeof(int32_t) +
         mesh->polygon_capacity * sizeof(size_t) + (mesh->mean_normals ? mesh->point_count * sizeof(Triple) : 0) +
         mesh->lookup_size * sizeof(uint32_t);
}

static void* copy_array(void const* from, size_t count, size_t element) {
  void* to = ruby_xmalloc2(count ? count : 1, element);
  if (count) memcpy(to, from, count * element);
  return to;
}

// `to` is an empty mesh. Its counts follow each array, so that a failed allocation leaves it valid.
void polygon_mesh_copy(PolygonMesh* to, PolygonMesh const* from) {
  polygon_mesh_reserve_points(to, from->point_count);
  Triple const none = {0, 0, 0};
  if (from->normals) polygon_mesh_attribute(to, &to->normals, none);
  if (from->front_uvs) polygon_mesh_attribute(to, &to->front_uvs, none);
  if (from->back_uvs) polygon_mesh_attribute(to, &to->back_uvs, none);
  size_t const bytes = from->point_count * sizeof(Triple);
  if (bytes) memcpy(to->points, from->points, bytes);
  if (bytes && from->normals) memcpy(to->normals, from->normals, bytes);
  if (bytes && from->front_uvs) memcpy(to->front_uvs, from->front_uvs, bytes);
  if (bytes && from->back_uvs) memcpy(to->back_uvs, from->back_uvs, bytes);
  to->point_count = from->point_count;
  to->corners = copy_array(from->corners, from->corner_count, sizeof(int32_t));
  to->corner_count = to->corner_capacity = from->corner_count;
  to->polygon_ends = copy_array(from->polygon_ends, from->polygon_count, sizeof(size_t));
  to->polygon_count = to->polygon_capacity = from->polygon_count;
}

void polygon_mesh_reserve_points(PolygonMesh* mesh, size_t count) {
  if (count <= mesh->point_capacity) return;
  // Each array grows before the capacity is raised: a failed allocation leaves longer arrays, never shorter ones.
  mesh->points = grow(mesh->points, count, sizeof(Triple));
  if (mesh->normals) mesh->normals = grow(mesh->normals, count, sizeof(Triple));
  if (mesh->front_uvs) mesh->front_uvs = grow(mesh->front_uvs, count, sizeof(Triple));
  if (mesh->back_uvs) mesh->back_uvs = grow(mesh->back_uvs, count, sizeof(Triple));
  mesh->point_capacity = count;
}

void polygon_mesh_reserve_corners(PolygonMesh* mesh, size_t count) {
  if (count <= mesh->corner_capacity) return;
  mesh->corners = grow(mesh->corners, count, sizeof(int32_t));
  mesh->corner_capacity = count;
}

void polygon_mesh_reserve_polygons(PolygonMesh* mesh, size_t count) {
  if (count <= mesh->polygon_capacity) return;
  mesh->polygon_ends = grow(mesh->polygon_ends, count, sizeof(size_t));
  mesh->polygon_capacity = count;
}

Triple* polygon_mesh_attribute(PolygonMesh* mesh, Triple** field, Triple fill) {
  if (*field) return *field;
  *field = ruby_xmalloc2(mesh->point_capacity ? mesh->point_capacity : 1, sizeof(Triple));
  for (size_t i = 0; i < mesh->point_count; ++i) (*field)[i] = fill;
  return *field;
}

void polygon_mesh_points_changed(PolygonMesh* mesh) {
  xfree(mesh->mean_normals);
  mesh->mean_normals = NULL;
  xfree(mesh->lookup);
  mesh->lookup = NULL;
  mesh->lookup_size = 0;
}

static uint64_t mix(uint64_t hash) {
  hash ^= hash >> 33;
  hash *= 0xff51afd7ed558ccdULL;
  hash ^= hash >> 33;
  hash *= 0xc4ceb9fe1a85ec53ULL;
  return hash ^ (hash >> 33);
}

static uint64_t coordinate_bits(double value) {
  uint64_t bits;
  double const positive = value + 0.0;  // -0.0 and 0.0 are one point
  memcpy(&bits, &positive, sizeof bits);
  return bits;
}

static size_t point_hash(Triple point) {
  return (size_t)mix(coordinate_bits(point.x) ^ mix(coordinate_bits(point.y) ^ mix(coordinate_bits(point.z))));
}

static int same_point(Triple a, Triple b) {
  return coordinate_bits(a.x) == coordinate_bits(b.x) && coordinate_bits(a.y) == coordinate_bits(b.y) &&
         coordinate_bits(a.z) == coordinate_bits(b.z);
}

// The place of the point in the lookup, or the empty place where it belongs.
static size_t lookup_place(PolygonMesh const* mesh, Triple point) {
  size_t place = point_hash(point) & (mesh->lookup_size - 1);
  while (mesh->lookup[place] && !same_point(mesh->points[mesh->lookup[place] - 1], point))
    place = (place + 1) & (mesh->lookup_size - 1);
  return place;
}

static void build_lookup(PolygonMesh* mesh, size_t expected) {
  size_t size = 16;
  while (size < expected * 2) size *= 2;
  uint32_t* table = ruby_xcalloc(size, sizeof(uint32_t));
  xfree(mesh->lookup);
  mesh->lookup = table;
  mesh->lookup_size = size;
  for (size_t i = 0; i < mesh->point_count; ++i) {
    size_t const place = lookup_place(mesh, mesh->points[i]);
    if (!mesh->lookup[place]) mesh->lookup[place] = (uint32_t)(i + 1);
  }
}

static void ensure_lookup(PolygonMesh* mesh) {
  if (!mesh->lookup || mesh->lookup_size < (mesh->point_count + 1) * 2) {
    size_t const capacity = mesh->point_capacity;
    build_lookup(mesh, capacity > mesh->point_count ? capacity : (mesh->point_count + 1) * 2);
  }
}

uint32_t polygon_mesh_find_point(PolygonMesh* mesh, Triple point) {
  ensure_lookup(mesh);
  return mesh->lookup[lookup_place(mesh, point)];
}

uint32_t polygon_mesh_add_point(PolygonMesh* mesh, Triple point) {
  ensure_lookup(mesh);
  size_t const place = lookup_place(mesh, point);
  if (mesh->lookup[place]) return mesh->lookup[place];
  if (mesh->point_count >= INT32_MAX) rb_raise(rb_eRangeError, "a mesh holds at most %d points", INT32_MAX);
  if (mesh->point_count == mesh->point_capacity)
    polygon_mesh_reserve_points(mesh, next_capacity(mesh->point_capacity, mesh->point_count + 1));
  size_t const index = mesh->point_count;
  mesh->points[index] = point;
  Triple const no_normal = {NAN, NAN, NAN};
  Triple const no_uv = {0, 0, 1};
  if (mesh->normals) mesh->normals[index] = no_normal;
  if (mesh->front_uvs) mesh->front_uvs[index] = no_uv;
  if (mesh->back_uvs) mesh->back_uvs[index] = no_uv;
  mesh->point_count = index + 1;
  mesh->lookup[place] = (uint32_t)mesh->point_count;
  xfree(mesh->mean_normals);
  mesh->mean_normals = NULL;
  return (uint32_t)mesh->point_count;
}

size_t polygon_mesh_add_polygon(PolygonMesh* mesh, int32_t const* corners, size_t count) {
  size_t const end = mesh->corner_count + count;
  if (end > mesh->corner_capacity) polygon_mesh_reserve_corners(mesh, next_capacity(mesh->corner_capacity, end));
  if (mesh->polygon_count == mesh->polygon_capacity)
    polygon_mesh_reserve_polygons(mesh, next_capacity(mesh->polygon_capacity, mesh->polygon_count + 1));
  memcpy(mesh->corners + mesh->corner_count, corners, count * sizeof(int32_t));
  mesh->corner_count = end;
  mesh->polygon_ends[mesh->polygon_count++] = end;
  xfree(mesh->mean_normals);
  mesh->mean_normals = NULL;
  return mesh->polygon_count;
}

static size_t point_of(int32_t corner) {
  return (size_t)(corner < 0 ? -(int64_t)corner : (int64_t)corner) - 1;
}

static Triple unit(Triple v) {
  double const length = sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  if (length > 0 && isfinite(length)) {
    v.x /= length;
    v.y /= length;
    v.z /= length;
  } else {
    v.x = v.y = v.z = 0;
  }
  return v;
}

static void build_mean_normals(PolygonMesh* mesh) {
  Triple* means = ruby_xcalloc(mesh->point_count ? mesh->point_count : 1, sizeof(Triple));
  size_t begin = 0;
  for (size_t polygon = 0; polygon < mesh->polygon_count; ++polygon) {
    size_t const end = mesh->polygon_ends[polygon];
    // Newell: right for any planar polygon, and as long as twice the area.
    Triple normal = {0, 0, 0};
    for (size_t k = begin; k < end; ++k) {
      Triple const a = mesh->points[point_of(mesh->corners[k])];
      Triple const b = mesh->points[point_of(mesh->corners[k + 1 < end ? k + 1 : begin])];
      normal.x += (a.y - b.y) * (a.z + b.z);
      normal.y += (a.z - b.z) * (a.x + b.x);
      normal.z += (a.x - b.x) * (a.y + b.y);
    }
    for (size_t k = begin; k < end; ++k) {
      Triple* mean = &means[point_of(mesh->corners[k])];
      mean->x += normal.x;
      mean->y += normal.y;
      mean->z += normal.z;
    }
    begin = end;
  }
  for (size_t i = 0; i < mesh->point_count; ++i) means[i] = unit(means[i]);
  mesh->mean_normals = means;
}

Triple polygon_mesh_normal(PolygonMesh* mesh, size_t point) {
  if (mesh->normals && !isnan(mesh->normals[point].x)) return mesh->normals[point];
  if (!mesh->mean_normals) build_mean_normals(mesh);
  return mesh->mean_normals[point];
}

void polygon_mesh_transform(PolygonMesh* mesh, double const m[16]) {
  for (size_t i = 0; i < mesh->point_count; ++i) {
    Triple const p = mesh->points[i];
    double const w = m[3] * p.x + m[7] * p.y + m[11] * p.z + m[15];
    double const scale = w == 0 ? 1 : 1 / w;
    mesh->points[i].x = (m[0] * p.x + m[4] * p.y + m[8] * p.z + m[12]) * scale;
    mesh->points[i].y = (m[1] * p.x + m[5] * p.y + m[9] * p.z + m[13]) * scale;
    mesh->points[i].z = (m[2] * p.x + m[6] * p.y + m[10] * p.z + m[14]) * scale;
  }
  if (mesh->normals) {
    // Normals turn by the inverse transpose; the cofactors are that times the determinant.
    double const c[9] = {m[5] * m[10] - m[6] * m[9], m[6] * m[8] - m[4] * m[10], m[4] * m[9] - m[5] * m[8],
                         m[2] * m[9] - m[1] * m[10], m[0] * m[10] - m[2] * m[8], m[1] * m[8] - m[0] * m[9],
                         m[1] * m[6] - m[2] * m[5],  m[2] * m[4] - m[0] * m[6],  m[0] * m[5] - m[1] * m[4]};
    double const determinant = m[0] * c[0] + m[1] * c[1] + m[2] * c[2];
    double const sign = determinant < 0 ? -1 : 1;
    for (size_t i = 0; i < mesh->point_count; ++i) {
      Triple const n = mesh->normals[i];
      if (isnan(n.x)) continue;
      Triple const turned = {sign * (c[0] * n.x + c[3] * n.y + c[6] * n.z),
                             sign * (c[1] * n.x + c[4] * n.y + c[7] * n.z),
                             sign * (c[2] * n.x + c[5] * n.y + c[8] * n.z)};
      mesh->normals[i] = unit(turned);
    }
  }
  polygon_mesh_points_changed(mesh);
}
