#include "src/preview/preview_utilities.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

void getPreviewMeshColors(VALUE materials) {
  static ID length;
  static ID at;
  static ID colorName;
  int const count = NUM2INT(rb_funcallv(materials, internedName(length, "length"), 0, nullptr));
  VALUE const colors = rb_ary_new_capa(count);
  // Registered with the garbage collector since the extension was loaded.
  rMeshColors = colors;
  for (int index = 0; index < count; ++index) {
    VALUE const place = GetRubyInterface(index);
    VALUE const material = rb_funcallv(materials, internedName(at, "[]"), 1, &place);
    rb_ary_push(colors, material == Qnil ? GetRubyInterface("white")
                                         : rb_funcallv(material, internedName(colorName, "color"), 0, nullptr));
  }
}

void startTimer(VALUE object) {
  static ID timerStart;
  rb_funcallv(object, internedName(timerStart, "timer_start"), 0, nullptr);
}

void stopTimer(VALUE object, char const* label) {
  static ID timeSince;
  VALUE const result = rb_funcallv(object, internedName(timeSince, "time_since"), 0, nullptr);
  rb_print(label);
  rb_puts(result);
}

VALUE createPolyMesh(ab::IMesh const* source) {
  static ID polygonMesh;
  static ID newName;
  VALUE const type = rb_const_get(mGeom, internedName(polygonMesh, "PolygonMesh"));
  VALUE const sizes[] = {GetRubyInterface(source->getNumVertices()), GetRubyInterface(source->getNumFaces())};
  return rb_funcallv(type, internedName(newName, "new"), 2, sizes);
}
