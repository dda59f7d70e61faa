/* The Ruby calls of a capture, in the same order with the same arguments, and nothing else: no mesh. The floor that the
   capture's cost is compared with, with or without the interpreter's conversion of the coordinates to numbers. */
#include <ruby.h>

static ID keys, length, material_has_texture, polygons, count_polygons, point_at, normal_at, uv_at, x, y, z;

static int convert;
static volatile double sink; /* keeps the conversions */

static void call_coordinate(VALUE point, ID axis) {
  VALUE const coordinate = rb_funcallv(point, axis, 0, NULL);
  if (convert) sink = rb_num2dbl(coordinate);
}

static void call_corner(VALUE polygon_mesh, VALUE point_index, int textured) {
  VALUE const point = rb_funcallv(polygon_mesh, point_at, 1, &point_index);
  call_coordinate(point, x);
  call_coordinate(point, y);
  call_coordinate(point, z);
  VALUE const normal = rb_funcallv(polygon_mesh, normal_at, 1, &point_index);
  call_coordinate(normal, x);
  call_coordinate(normal, y);
  call_coordinate(normal, z);
  if (textured) {
    VALUE const arguments[] = {point_index, Qtrue};
    VALUE const uv = rb_funcallv(polygon_mesh, uv_at, 2, arguments);
    call_coordinate(uv, x);
    call_coordinate(uv, y);
  }
}

static void call_polygons(VALUE polygon_mesh, int textured) {
  VALUE const list = rb_funcallv(polygon_mesh, polygons, 0, NULL);
  unsigned int const count = NUM2UINT(rb_funcallv(polygon_mesh, count_polygons, 0, NULL));
  for (unsigned int index = 0; index < count; ++index) {
    VALUE const polygon = rb_ary_entry(list, (long)index);
    for (long corner = 0; corner < 3; ++corner) {
      call_corner(polygon_mesh, rb_ary_entry(polygon, corner), textured);
    }
  }
}

static VALUE call_all(VALUE module, VALUE importer, VALUE meshes_by_material, VALUE with_conversion) {
  (void)module;
  convert = RTEST(with_conversion);
  VALUE const all_keys = rb_funcallv(meshes_by_material, keys, 0, NULL);
  int const material_count = NUM2INT(rb_funcallv(all_keys, length, 0, NULL));
  for (int material = 0; material < material_count; ++material) {
    VALUE const key = rb_ary_entry(all_keys, material);
    int const textured = rb_funcallv(importer, material_has_texture, 1, &key) == Qtrue;
    VALUE const meshes = rb_hash_aref(meshes_by_material, key);
    int const mesh_count = NUM2INT(rb_funcallv(meshes, length, 0, NULL));
    for (int index = 0; index < mesh_count; ++index) {
      call_polygons(rb_ary_entry(meshes, index), textured);
    }
  }
  return Qnil;
}

__attribute__((visibility("default"))) void Init_bare_capture(void);

void Init_bare_capture(void) {
  keys = rb_intern("keys");
  length = rb_intern("length");
  material_has_texture = rb_intern("material_has_texture?");
  polygons = rb_intern("polygons");
  count_polygons = rb_intern("count_polygons");
  point_at = rb_intern("point_at");
  normal_at = rb_intern("normal_at");
  uv_at = rb_intern("uv_at");
  x = rb_intern("x");
  y = rb_intern("y");
  z = rb_intern("z");
  VALUE const module = rb_define_module("BareCapture");
  rb_define_singleton_method(module, "call_all", call_all, 3);
}
