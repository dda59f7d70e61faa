// Sketchup::View.pack: points as the 32-bit floats that a graphics card takes.
#include "mirel_host.h"

/*
 * Packs points, or arrays of three numbers, into x, y, z as 32-bit floats in the machine's byte order.
 * @param points [Array]
 * @return [String] binary, 12 bytes per point
 * @raise [ArgumentError, TypeError] for anything else
 */
static VALUE view_pack(VALUE klass, VALUE points) {
  (void)klass;
  Check_Type(points, T_ARRAY);
  long const count = RARRAY_LEN(points);
  VALUE packed = rb_str_new(NULL, count * 3 * (long)sizeof(float));
  for (long index = 0; index < count; ++index) {
    // A conversion may run Ruby code that shortens the array: what is missing then is nil, and refused.
    Triple const triple = mirel_host_triple(rb_ary_entry(points, index));
    float* place = (float*)(void*)RSTRING_PTR(packed) + index * 3;
    place[0] = (float)triple.x;
    place[1] = (float)triple.y;
    place[2] = (float)triple.z;
  }
  RB_GC_GUARD(packed);
  return packed;
}

void mirel_host_define_packing(void) {
  VALUE const view = rb_define_class_under(rb_define_module("Sketchup"), "View", rb_cObject);
  rb_define_singleton_method(view, "pack", view_pack, 1);
}
