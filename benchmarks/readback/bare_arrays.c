/* The Ruby objects of get_triangles and nothing else: the floats, the points, and their places in the face set's
   array and in the lines, made by the cheapest calls that there are. No transform, no look-up of vertices. The floor
   that the readback's cost is compared with. */
#include <ruby.h>

static void add_triangle(VALUE set, VALUE lines, float const* coordinates) {
  VALUE numbers[3][3];
  VALUE corners[3];
  VALUE edges[6];
  for (int place = 0; place < 9; ++place) {
    numbers[place / 3][place % 3] = rb_float_new((double)coordinates[place]);
  }
  for (int corner = 0; corner < 3; ++corner) {
    corners[corner] = rb_ary_new_from_values(3, numbers[corner]);
    edges[2 * corner] = corners[corner];
    edges[2 * corner + 1] = rb_ary_new_from_values(3, numbers[(corner + 1) % 3]);
  }
  rb_ary_cat(set, corners, 3);
  rb_ary_cat(lines, edges, 6);
}

/* `coordinates` is a String of nine floats per triangle, `sizes` the number of triangles in each face set. */
static VALUE fill(VALUE module, VALUE triangles, VALUE lines, VALUE coordinates, VALUE sizes) {
  (void)module;
  float const* place = (float const*)(void*)RSTRING_PTR(coordinates);
  for (long set = 0; set < RARRAY_LEN(sizes); ++set) {
    long const count = NUM2LONG(rb_ary_entry(sizes, set));
    VALUE const corners = rb_ary_new_capa(count);
    for (long face = 0; face < count; ++face, place += 9) {
      add_triangle(corners, lines, place);
    }
    rb_ary_push(triangles, corners);
  }
  RB_GC_GUARD(coordinates);
  return Qnil;
}

__attribute__((visibility("default"))) void Init_bare_arrays(void);

void Init_bare_arrays(void) {
  VALUE const module = rb_define_module("BareArrays");
  rb_define_singleton_method(module, "fill", fill, 4);
}
