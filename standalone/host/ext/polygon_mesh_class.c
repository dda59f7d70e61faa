// Geom::PolygonMesh: what Ruby sees of the arrays in polygon_mesh.c.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "polygon_mesh.h"

static void mesh_free(void* data) {
  polygon_mesh_free(data);
  xfree(data);
}

static size_t mesh_size(void const* data) {
  return sizeof(PolygonMesh) + polygon_mesh_bytes(data);
}

static rb_data_type_t const mesh_type = {.wrap_struct_name = "Geom::PolygonMesh",
                                         .function = {NULL, mesh_free, mesh_size, NULL, {NULL}},
                                         .flags = RUBY_TYPED_FREE_IMMEDIATELY | RUBY_TYPED_WB_PROTECTED};

static PolygonMesh* get_mesh(VALUE self) {
  return rb_check_typeddata(self, &mesh_type);
}

static VALUE mesh_allocate(VALUE klass) {
  PolygonMesh* mesh;
  return TypedData_Make_Struct(klass, PolygonMesh, &mesh_type, mesh);
}

// The 0-based index of a point number (its sign is ignored); -1 where there is no such point.
static long point_index(PolygonMesh const* mesh, VALUE number) {
  long const signed_number = NUM2LONG(number);
  unsigned long const magnitude = signed_number < 0 ? 0ul - (unsigned long)signed_number : (unsigned long)signed_number;
  return magnitude >= 1 && magnitude <= mesh->point_count ? (long)(magnitude - 1) : -1;
}

static long polygon_index(PolygonMesh const* mesh, VALUE number) {
  long const value = NUM2LONG(number);
  return value >= 1 && (unsigned long)value <= mesh->polygon_count ? value - 1 : -1;
}

static size_t existing_point(PolygonMesh const* mesh, VALUE number) {
  long const index = point_index(mesh, number);
  if (index < 0) rb_raise(rb_eIndexError, "the mesh has no point %+" PRIsVALUE, number);
  return (size_t)index;
}

static VALUE new_point(Triple triple) {
  return mirel_host_new_point(triple.x, triple.y, triple.z);
}

static size_t polygon_begin(PolygonMesh const* mesh, size_t polygon) {
  return polygon ? mesh->polygon_ends[polygon - 1] : 0;
}

static VALUE corner_array(PolygonMesh const* mesh, size_t polygon) {
  size_t const begin = polygon_begin(mesh, polygon);
  size_t const end = mesh->polygon_ends[polygon];
  if (end - begin == 3) {
    int32_t const* corners = mesh->corners + begin;
    VALUE const numbers[3] = {INT2NUM(corners[0]), INT2NUM(corners[1]), INT2NUM(corners[2])};
    return rb_ary_new_from_values(3, numbers);
  }
  VALUE array = rb_ary_new_capa((long)(end - begin));
  for (size_t k = begin; k < end; ++k) rb_ary_push(array, INT2NUM(mesh->corners[k]));
  return array;
}

/*
 * @overload initialize(point_count = 0, polygon_count = 0)
 *   Makes an empty mesh; the counts only make room.
 */
static VALUE mesh_initialize(int argc, VALUE* argv, VALUE self) {
  rb_check_arity(argc, 0, 2);
  long const points = argc > 0 ? NUM2LONG(argv[0]) : 0;
  long const polygons = argc > 1 ? NUM2LONG(argv[1]) : 0;
  if (points < 0 || polygons < 0) rb_raise(rb_eArgError, "the number of points or polygons is negative");
  if (points > INT32_MAX || polygons > INT32_MAX)
    rb_raise(rb_eRangeError, "the number of points or polygons is too large");
  PolygonMesh* mesh = get_mesh(self);
  polygon_mesh_reserve_points(mesh, (size_t)points);
  polygon_mesh_reserve_polygons(mesh, (size_t)polygons);
  polygon_mesh_reserve_corners(mesh, (size_t)polygons * 3);
  return self;
}

static VALUE mesh_initialize_copy(VALUE self, VALUE other) {
  PolygonMesh* mesh = get_mesh(self);
  if (mesh->point_count || mesh->polygon_count) rb_raise(rb_eTypeError, "a mesh that has points cannot become a copy");
  polygon_mesh_copy(mesh, get_mesh(other));
  return self;
}

/*
 * Adds a point, unless one that is exactly equal is there already.
 * @param point [Point3d, Array] three coordinates
 * @return [Integer] the point's number, from 1
 */
static VALUE mesh_add_point(VALUE self, VALUE point) {
  rb_check_frozen(self);
  Triple const triple = mirel_host_triple(point);
  return UINT2NUM(polygon_mesh_add_point(get_mesh(self), triple));
}

/*
 * @param point [Point3d, Array]
 * @return [Integer] the number of the point that is exactly equal, 0 where there is none
 */
static VALUE mesh_point_index(VALUE self, VALUE point) {
  Triple const triple = mirel_host_triple(point);
  return UINT2NUM(polygon_mesh_find_point(get_mesh(self), triple));
}

// One corner of a polygon to add: a point number, or a point, which is added.
static int32_t corner_of(VALUE self, VALUE corner) {
  PolygonMesh* mesh = get_mesh(self);
  if (!RB_INTEGER_TYPE_P(corner)) return (int32_t)polygon_mesh_add_point(mesh, mirel_host_triple(corner));
  existing_point(mesh, corner);
  return (int32_t)NUM2LONG(corner);
}

/*
 * Adds a polygon.
 * @overload add_polygon(number, number, number, ...)
 *   @param number [Integer] a point's number; negative where the edge that starts at this corner is hidden
 * @overload add_polygon(point, point, point, ...)
 *   @param point [Point3d, Array] a point, which is added where it is new
 * @overload add_polygon(array)
 *   @param array [Array] one of the forms above in an array
 * @return [Integer] the polygon's number, from 1
 * @raise [IndexError] for a point number that does not exist; the mesh keeps its polygons
 */
static VALUE mesh_add_polygon(int argc, VALUE* argv, VALUE self) {
  rb_check_frozen(self);
  VALUE corners = argc == 1 ? rb_check_array_type(argv[0]) : rb_ary_new_from_values(argc, argv);
  if (NIL_P(corners)) rb_raise(rb_eArgError, "expected point numbers or points");
  long const count = RARRAY_LEN(corners);
  if (count < 3) rb_raise(rb_eArgError, "a polygon needs at least 3 corners, not %ld", count);
  VALUE buffer = 0;
  int32_t* numbers = rb_alloc_tmp_buffer2(&buffer, count, sizeof(int32_t));
  for (long k = 0; k < count; ++k) numbers[k] = corner_of(self, rb_ary_entry(corners, k));
  size_t const polygon = polygon_mesh_add_polygon(get_mesh(self), numbers, (size_t)count);
  rb_free_tmp_buffer(&buffer);
  return SIZET2NUM(polygon);
}

/* @return [Integer] */
static VALUE mesh_count_points(VALUE self) {
  return SIZET2NUM(get_mesh(self)->point_count);
}

/* @return [Integer] */
static VALUE mesh_count_polygons(VALUE self) {
  return SIZET2NUM(get_mesh(self)->polygon_count);
}

/*
 * @param number [Integer] a point's number; its sign is ignored
 * @return [Point3d, nil]
 */
static VALUE mesh_point_at(VALUE self, VALUE number) {
  PolygonMesh const* mesh = get_mesh(self);
  long const index = point_index(mesh, number);
  return index < 0 ? Qnil : new_point(mesh->points[index]);
}

/*
 * The normal given for a point; where none was given, the mean of the normals of the polygons around it, weighted
 * by their areas.
 * @param number [Integer] a point's number; its sign is ignored
 * @return [Vector3d, nil]
 */
static VALUE mesh_normal_at(VALUE self, VALUE number) {
  PolygonMesh* mesh = get_mesh(self);
  long const index = point_index(mesh, number);
  if (index < 0) return Qnil;
  Triple const normal = polygon_mesh_normal(mesh, (size_t)index);
  return mirel_host_new_vector(normal.x, normal.y, normal.z);
}

/*
 * @param number [Integer] a point's number; its sign is ignored
 * @param front [Boolean] the front side's UV, else the back's
 * @return [Point3d, nil] u, v and the projective third coordinate; (0, 0, 1) where no UV was given
 */
static VALUE mesh_uv_at(VALUE self, VALUE number, VALUE front) {
  PolygonMesh const* mesh = get_mesh(self);
  long const index = point_index(mesh, number);
  if (index < 0) return Qnil;
  Triple const* uvs = RTEST(front) ? mesh->front_uvs : mesh->back_uvs;
  return uvs ? new_point(uvs[index]) : mirel_host_new_point(0, 0, 1);
}

/* @return [Array<Point3d>] */
static VALUE mesh_points(VALUE self) {
  size_t const count = get_mesh(self)->point_count;
  VALUE array = rb_ary_new_capa((long)count);
  for (size_t i = 0; i < count; ++i) rb_ary_push(array, new_point(get_mesh(self)->points[i]));
  return array;
}

/* @return [Array<Array<Integer>>] the point numbers of each polygon; negative: the edge that starts there is hidden */
static VALUE mesh_polygons(VALUE self) {
  PolygonMesh const* mesh = get_mesh(self);
  VALUE array = rb_ary_new_capa((long)mesh->polygon_count);
  for (size_t i = 0; i < mesh->polygon_count; ++i) rb_ary_push(array, corner_array(mesh, i));
  return array;
}

/*
 * @param number [Integer] a polygon's number, from 1
 * @return [Array<Integer>, nil]
 */
static VALUE mesh_polygon_at(VALUE self, VALUE number) {
  PolygonMesh const* mesh = get_mesh(self);
  long const index = polygon_index(mesh, number);
  return index < 0 ? Qnil : corner_array(mesh, (size_t)index);
}

/*
 * @param number [Integer] a polygon's number, from 1
 * @return [Array<Point3d>, nil]
 */
static VALUE mesh_polygon_points_at(VALUE self, VALUE number) {
  PolygonMesh const* mesh = get_mesh(self);
  long const index = polygon_index(mesh, number);
  if (index < 0) return Qnil;
  VALUE array = rb_ary_new();
  for (size_t k = polygon_begin(mesh, (size_t)index); k < mesh->polygon_ends[index]; ++k) {
    int32_t const corner = mesh->corners[k];
    rb_ary_push(array, new_point(mesh->points[(corner < 0 ? -(int64_t)corner : (int64_t)corner) - 1]));
  }
  return array;
}

/*
 * @param front [Boolean]
 * @return [Array<Point3d>] one UV per point
 */
static VALUE mesh_uvs(VALUE self, VALUE front) {
  size_t const count = get_mesh(self)->point_count;
  VALUE array = rb_ary_new_capa((long)count);
  for (size_t i = 0; i < count; ++i) rb_ary_push(array, mesh_uv_at(self, SIZET2NUM(i + 1), front));
  return array;
}

/*
 * Moves a point.
 * @param number [Integer]
 * @param point [Point3d, Array]
 * @raise [IndexError]
 */
static VALUE mesh_set_point(VALUE self, VALUE number, VALUE point) {
  rb_check_frozen(self);
  Triple const triple = mirel_host_triple(point);
  PolygonMesh* mesh = get_mesh(self);
  mesh->points[existing_point(mesh, number)] = triple;
  polygon_mesh_points_changed(mesh);
  return Qnil;
}

/*
 * Gives a point a normal of its own.
 * @param number [Integer]
 * @param normal [Vector3d, Array]
 * @raise [IndexError]
 */
static VALUE mesh_set_normal(VALUE self, VALUE number, VALUE normal) {
  rb_check_frozen(self);
  Triple const triple = mirel_host_triple(normal);
  PolygonMesh* mesh = get_mesh(self);
  size_t const index = existing_point(mesh, number);
  Triple const none = {NAN, NAN, NAN};
  polygon_mesh_attribute(mesh, &mesh->normals, none)[index] = triple;
  return Qnil;
}

/*
 * @param number [Integer] a point's number
 * @param uv [Point3d, Array] u, v and the projective third coordinate (1 where it is left out)
 * @param front [Boolean]
 * @raise [IndexError]
 */
static VALUE mesh_set_uv(VALUE self, VALUE number, VALUE uv, VALUE front) {
  rb_check_frozen(self);
  Triple triple = mirel_host_triple(uv);
  VALUE const array = rb_check_array_type(uv);
  if (!NIL_P(array) && RARRAY_LEN(array) == 2) triple.z = 1;
  PolygonMesh* mesh = get_mesh(self);
  size_t const index = existing_point(mesh, number);
  Triple const none = {0, 0, 1};
  polygon_mesh_attribute(mesh, RTEST(front) ? &mesh->front_uvs : &mesh->back_uvs, none)[index] = triple;
  return Qnil;
}

/*
 * Moves every point and turns the given normals.
 * @param transformation [Transformation, Array] 16 numbers, column by column
 * @return [true]
 */
static VALUE mesh_transform(VALUE self, VALUE transformation) {
  rb_check_frozen(self);
  VALUE const array = rb_Array(transformation);
  if (RARRAY_LEN(array) != 16) rb_raise(rb_eArgError, "expected a transformation of 16 numbers");
  double matrix[16];
  for (long i = 0; i < 16; ++i) matrix[i] = NUM2DBL(rb_ary_entry(array, i));
  polygon_mesh_transform(get_mesh(self), matrix);
  return Qtrue;
}

/* @return [Boolean] whether any point has been given a normal */
static VALUE mesh_normals_given(VALUE self) {
  PolygonMesh const* mesh = get_mesh(self);
  for (size_t i = 0; mesh->normals && i < mesh->point_count; ++i) {
    if (!isnan(mesh->normals[i].x)) return Qtrue;
  }
  return Qfalse;
}

/* @return [Boolean] whether any point has been given a UV on the front side */
static VALUE mesh_uvs_given(VALUE self) {
  return get_mesh(self)->front_uvs ? Qtrue : Qfalse;
}

/* @return [Array(Point3d, Point3d), nil] the lowest and highest coordinates of the finite points; nil without any */
static VALUE mesh_extent(VALUE self) {
  PolygonMesh const* mesh = get_mesh(self);
  Triple low = {INFINITY, INFINITY, INFINITY};
  Triple high = {-INFINITY, -INFINITY, -INFINITY};
  for (size_t i = 0; i < mesh->point_count; ++i) {
    Triple const p = mesh->points[i];
    if (!isfinite(p.x) || !isfinite(p.y) || !isfinite(p.z)) continue;
    low.x = fmin(low.x, p.x), low.y = fmin(low.y, p.y), low.z = fmin(low.z, p.z);
    high.x = fmax(high.x, p.x), high.y = fmax(high.y, p.y), high.z = fmax(high.z, p.z);
  }
  if (low.x > high.x) return Qnil;
  return rb_ary_new_from_args(2, new_point(low), new_point(high));
}

static size_t packed_count(VALUE string, size_t element, char const* what) {
  StringValue(string);
  size_t const bytes = (size_t)RSTRING_LEN(string);
  if (bytes % element)
    rb_raise(rb_eArgError, "the length of the packed %s is not a multiple of %d bytes", what, (int)element);
  return bytes / element;
}

static float packed_float(VALUE string, size_t index) {
  float value;
  memcpy(&value, RSTRING_PTR(string) + index * sizeof value, sizeof value);
  return value;
}

static Triple packed_triple(VALUE string, size_t index) {
  Triple const triple = {packed_float(string, index * 3), packed_float(string, index * 3 + 1),
                         packed_float(string, index * 3 + 2)};
  return triple;
}

/*
 * Makes a mesh of triangles from packed numbers, without an object per element. Points are taken as they are, also
 * equal ones.
 * @param points [String] count x 3 floats of 32 bits (pack "f*")
 * @param triangles [String] count x 3 indices of points, from 0, unsigned 32 bits (pack "L*")
 * @param normals [String, nil] 3 floats per point; three zeroes where the point has none
 * @param uvs [String, nil] 2 floats per point, front side
 * @return [PolygonMesh]
 * @raise [ArgumentError] where a length or an index does not fit
 */
static VALUE mesh_from_packed(int argc, VALUE* argv, VALUE klass) {
  rb_check_arity(argc, 2, 4);
  VALUE points = argv[0], triangles = argv[1];
  VALUE normals = argc > 2 ? argv[2] : Qnil, uvs = argc > 3 ? argv[3] : Qnil;
  size_t const point_count = packed_count(points, 3 * sizeof(float), "points");
  size_t const triangle_count = packed_count(triangles, 3 * sizeof(uint32_t), "triangles");
  if (point_count > INT32_MAX || triangle_count > INT32_MAX)
    rb_raise(rb_eRangeError, "a mesh holds at most %d points or triangles", INT32_MAX);
  if (!NIL_P(normals) && packed_count(normals, 3 * sizeof(float), "normals") != point_count)
    rb_raise(rb_eArgError, "there is not one normal per point");
  if (!NIL_P(uvs) && packed_count(uvs, 2 * sizeof(float), "UVs") != point_count)
    rb_raise(rb_eArgError, "there is not one UV per point");

  VALUE self = rb_obj_alloc(klass);
  PolygonMesh* mesh = get_mesh(self);
  polygon_mesh_reserve_points(mesh, point_count);
  for (size_t i = 0; i < point_count; ++i) mesh->points[i] = packed_triple(points, i);
  Triple const none = {0, 0, 0}, no_normal = {NAN, NAN, NAN};
  if (!NIL_P(normals)) {
    polygon_mesh_attribute(mesh, &mesh->normals, none);
    for (size_t i = 0; i < point_count; ++i) {
      Triple const normal = packed_triple(normals, i);
      int const given = normal.x != 0 || normal.y != 0 || normal.z != 0;
      mesh->normals[i] = given ? normal : no_normal;
    }
  }
  if (!NIL_P(uvs)) {
    polygon_mesh_attribute(mesh, &mesh->front_uvs, none);
    for (size_t i = 0; i < point_count; ++i) {
      Triple const uv = {packed_float(uvs, i * 2), packed_float(uvs, i * 2 + 1), 1};
      mesh->front_uvs[i] = uv;
    }
  }
  mesh->point_count = point_count;

  polygon_mesh_reserve_corners(mesh, triangle_count * 3);
  polygon_mesh_reserve_polygons(mesh, triangle_count);
  for (size_t k = 0; k < triangle_count * 3; ++k) {
    uint32_t index;
    memcpy(&index, RSTRING_PTR(triangles) + k * sizeof index, sizeof index);
    if (index >= point_count) rb_raise(rb_eArgError, "a triangle names point %u of %" PRIuSIZE, index, point_count);
    mesh->corners[k] = (int32_t)(index + 1);
  }
  for (size_t i = 0; i < triangle_count; ++i) mesh->polygon_ends[i] = (i + 1) * 3;
  mesh->corner_count = triangle_count * 3;
  mesh->polygon_count = triangle_count;
  RB_GC_GUARD(points);
  RB_GC_GUARD(triangles);
  RB_GC_GUARD(normals);
  RB_GC_GUARD(uvs);
  return self;
}

void mirel_host_define_polygon_mesh(VALUE geom) {
  VALUE klass = rb_define_class_under(geom, "PolygonMesh", rb_cObject);
  rb_define_alloc_func(klass, mesh_allocate);
  rb_define_singleton_method(klass, "from_packed", mesh_from_packed, -1);
  rb_define_method(klass, "initialize", mesh_initialize, -1);
  rb_define_method(klass, "initialize_copy", mesh_initialize_copy, 1);
  rb_define_method(klass, "add_point", mesh_add_point, 1);
  rb_define_method(klass, "add_polygon", mesh_add_polygon, -1);
  rb_define_method(klass, "count_points", mesh_count_points, 0);
  rb_define_method(klass, "count_polygons", mesh_count_polygons, 0);
  rb_define_method(klass, "extent", mesh_extent, 0);
  rb_define_method(klass, "normal_at", mesh_normal_at, 1);
  rb_define_method(klass, "normals_given?", mesh_normals_given, 0);
  rb_define_method(klass, "point_at", mesh_point_at, 1);
  rb_define_method(klass, "point_index", mesh_point_index, 1);
  rb_define_method(klass, "points", mesh_points, 0);
  rb_define_method(klass, "polygon_at", mesh_polygon_at, 1);
  rb_define_method(klass, "polygon_points_at", mesh_polygon_points_at, 1);
  rb_define_method(klass, "polygons", mesh_polygons, 0);
  rb_define_method(klass, "set_normal", mesh_set_normal, 2);
  rb_define_method(klass, "set_point", mesh_set_point, 2);
  rb_define_method(klass, "set_uv", mesh_set_uv, 3);
  rb_define_method(klass, "transform!", mesh_transform, 1);
  rb_define_method(klass, "uv_at", mesh_uv_at, 2);
  rb_define_method(klass, "uvs", mesh_uvs, 1);
  rb_define_method(klass, "uvs_given?", mesh_uvs_given, 0);
}
