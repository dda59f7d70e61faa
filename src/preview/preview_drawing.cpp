#include "src/preview/preview_drawing.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

namespace {

// OpenGL's numbers.
enum class Primitive : int { kPoints = 0, kLines = 1, kTriangles = 4 };

void setColor(VALUE view, VALUE color) {
  static ID drawingColor;
  rb_funcallv(view, internedName(drawingColor, "drawing_color="), 1, &color);
}

void drawPrimitives(VALUE view, Primitive primitive, VALUE points) {
  static ID draw;
  VALUE const arguments[] = {GetRubyInterface(static_cast<int>(primitive)), points};
  rb_funcallv(view, internedName(draw, "draw"), 2, arguments);
}

VALUE getNow() {
  static ID now;
  return rb_funcallv(rb_cTime, internedName(now, "now"), 0, nullptr);
}

// A timer that waits for a full frame would only draw this one again.
void stopFullTimer(VALUE self) {
  static ID drawFullTimer;
  static ID stopTimer;
  VALUE const timer = rb_ivar_get(self, internedName(drawFullTimer, "@draw_full_timer"));
  if (timer != Qnil) {
    rb_funcallv(mUI, internedName(stopTimer, "stop_timer"), 1, &timer);
  }
}

void drawFull(VALUE self, VALUE view) {
  static ID length;
  static ID triangleColor;
  drawPrimitives(view, Primitive::kLines, rLines);
  // The frame keeps to one array whatever the callbacks do to the preview references.
  VALUE const triangles = rTriangles;
  int const count = NUM2INT(rb_funcallv(triangles, internedName(length, "length"), 0, nullptr));
  for (int index = 0; index < count; ++index) {
    VALUE const place = GetRubyInterface(index);
    setColor(view, rb_funcallv(self, internedName(triangleColor, "get_triangle_color_at"), 1, &place));
    rb_check_type(triangles, T_ARRAY);
    drawPrimitives(view, Primitive::kTriangles, rb_ary_entry(triangles, index));
  }
}

void drawPoints(VALUE self, VALUE view) {
  static ID optimize;
  static ID meshPoints;
  rb_funcallv(self, internedName(optimize, "optimize_dynamic_drawing"), 1, &view);
  drawPrimitives(view, Primitive::kPoints, rb_ivar_get(self, internedName(meshPoints, "@mesh_points")));
}

}  // namespace

VALUE draw(VALUE self, VALUE view) {
  static ID drawPointsOnly;
  static ID drawBounds;
  static ID lastDrawTime;
  static ID minus;
  static ID setStatusText;
  static ID drawCallback;
  static ID onDrawComplete;
  stopFullTimer(self);
  VALUE const start = getNow();
  setColor(view, GetRubyInterface("black"));
  if (rb_ivar_get(self, internedName(drawPointsOnly, "@draw_points_only")) == Qtrue) {
    drawPoints(self, view);
  } else {
    drawFull(self, view);
  }
  rb_funcallv(self, internedName(drawBounds, "draw_bounds"), 1, &view);
  VALUE const seconds = rb_funcallv(getNow(), internedName(minus, "-"), 1, &start);
  rb_ivar_set(self, internedName(lastDrawTime, "@last_draw_time"), seconds);
  rb_funcallv(self, internedName(setStatusText, "set_status_text"), 0, nullptr);
  ID const callback = internedName(drawCallback, "@draw_callback");
  if (rb_ivar_get(self, callback) == Qtrue) {
    rb_funcallv(self, internedName(onDrawComplete, "on_draw_complete"), 0, nullptr);
  } else {
    rb_ivar_set(self, callback, Qtrue);
  }
  return view;
}
