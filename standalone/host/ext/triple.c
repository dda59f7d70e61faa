// Geom::Point3d and Geom::Vector3d: three doubles each. Arithmetic on them is Ruby (lib/geom).
#include "mirel_host.h"

VALUE mirel_host_point_class;
VALUE mirel_host_vector_class;

static size_t triple_size(void const* data) {
  (void)data;
  return sizeof(Triple);
}

static rb_data_type_t const triple_type = {.wrap_struct_name = "Geom coordinates",
                                           .function = {NULL, RUBY_DEFAULT_FREE, triple_size, NULL, {NULL}},
                                           .flags = RUBY_TYPED_FREE_IMMEDIATELY | RUBY_TYPED_WB_PROTECTED};

static VALUE new_triple(VALUE klass, double x, double y, double z) {
  Triple* triple;
  VALUE object = TypedData_Make_Struct(klass, Triple, &triple_type, triple);
  triple->x = x;
  triple->y = y;
  triple->z = z;
  return object;
}

VALUE mirel_host_new_point(double x, double y, double z) {
  return new_triple(mirel_host_point_class, x, y, z);
}

VALUE mirel_host_new_vector(double x, double y, double z) {
  return new_triple(mirel_host_vector_class, x, y, z);
}

static Triple* get_triple(VALUE object) {
  return rb_check_typeddata(object, &triple_type);
}

Triple mirel_host_triple(VALUE value) {
  if (rb_typeddata_is_kind_of(value, &triple_type)) return *get_triple(value);
  VALUE array = rb_check_array_type(value);
  if (NIL_P(array) || RARRAY_LEN(array) < 2 || RARRAY_LEN(array) > 3)
    rb_raise(rb_eArgError, "expected a point, a vector or an array of two or three numbers");
  Triple triple = {0, 0, 0};
  triple.x = NUM2DBL(rb_ary_entry(array, 0));
  triple.y = NUM2DBL(rb_ary_entry(array, 1));
  if (RARRAY_LEN(array) == 3) triple.z = NUM2DBL(rb_ary_entry(array, 2));
  return triple;
}

static VALUE triple_allocate(VALUE klass) {
  return new_triple(klass, 0, 0, 0);
}

/*
 * @overload initialize
 * @overload initialize(x, y, z = 0)
 * @overload initialize(point_vector_or_array)
 */
static VALUE triple_initialize(int argc, VALUE* argv, VALUE self) {
  rb_check_arity(argc, 0, 3);
  Triple triple = {0, 0, 0};
  if (argc == 1) {
    triple = mirel_host_triple(argv[0]);
  } else if (argc > 1) {
    triple.x = NUM2DBL(argv[0]);
    triple.y = NUM2DBL(argv[1]);
    if (argc == 3) triple.z = NUM2DBL(argv[2]);
  }
  *get_triple(self) = triple;
  return self;
}

static VALUE triple_initialize_copy(VALUE self, VALUE other) {
  rb_check_frozen(self);
  *get_triple(self) = *get_triple(other);
  return self;
}

/* @return [Float] */
static VALUE triple_x(VALUE self) {
  return DBL2NUM(get_triple(self)->x);
}
/* @return [Float] */
static VALUE triple_y(VALUE self) {
  return DBL2NUM(get_triple(self)->y);
}
/* @return [Float] */
static VALUE triple_z(VALUE self) {
  return DBL2NUM(get_triple(self)->z);
}

static VALUE triple_set_x(VALUE self, VALUE value) {
  rb_check_frozen(self);
  get_triple(self)->x = NUM2DBL(value);
  return value;
}

static VALUE triple_set_y(VALUE self, VALUE value) {
  rb_check_frozen(self);
  get_triple(self)->y = NUM2DBL(value);
  return value;
}

static VALUE triple_set_z(VALUE self, VALUE value) {
  rb_check_frozen(self);
  get_triple(self)->z = NUM2DBL(value);
  return value;
}

/* @return [Array(Float, Float, Float)] */
static VALUE triple_to_a(VALUE self) {
  Triple const* triple = get_triple(self);
  return rb_ary_new_from_args(3, DBL2NUM(triple->x), DBL2NUM(triple->y), DBL2NUM(triple->z));
}

/*
 * Takes the coordinates of x, y, z or of another point, vector or array.
 * @return [self]
 */
static VALUE triple_set(int argc, VALUE* argv, VALUE self) {
  rb_check_frozen(self);
  rb_check_arity(argc, 1, 3);
  return triple_initialize(argc, argv, self);
}

static void define_triple(VALUE klass) {
  rb_define_alloc_func(klass, triple_allocate);
  rb_define_method(klass, "initialize", triple_initialize, -1);
  rb_define_method(klass, "initialize_copy", triple_initialize_copy, 1);
  rb_define_method(klass, "x", triple_x, 0);
  rb_define_method(klass, "y", triple_y, 0);
  rb_define_method(klass, "z", triple_z, 0);
  rb_define_method(klass, "x=", triple_set_x, 1);
  rb_define_method(klass, "y=", triple_set_y, 1);
  rb_define_method(klass, "z=", triple_set_z, 1);
  rb_define_method(klass, "to_a", triple_to_a, 0);
  rb_define_method(klass, "set!", triple_set, -1);
}

void mirel_host_define_triples(VALUE geom) {
  mirel_host_point_class = rb_define_class_under(geom, "Point3d", rb_cObject);
  mirel_host_vector_class = rb_define_class_under(geom, "Vector3d", rb_cObject);
  // Both classes are constants of Geom, but a constant can be removed; the handles must not dangle then.
  rb_gc_register_address(&mirel_host_point_class);
  rb_gc_register_address(&mirel_host_vector_class);
  define_triple(mirel_host_point_class);
  define_triple(mirel_host_vector_class);
}
