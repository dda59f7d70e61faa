#include "tests/conformance/test_extension/export_bindings.h"

#include "src/export/export_error.h"
#include "src/export/geometry_input.h"
#include "src/export/model_export.h"
#include "src/export/sketchup_string.h"
#include "src/frame/ruby_value.h"

namespace {

// What suStringToRubyString makes of a SketchUp string with the text of the Ruby one.
VALUE sketchupString(VALUE, VALUE text) {
  SUStringRef string = {};
  SUStringCreateFromUTF8(&string, StringValueCStr(text));
  VALUE const result = suStringToRubyString(string);
  SUStringRelease(&string);
  return result;
}

VALUE invalidSketchupString(VALUE) {
  return suStringToRubyString(SUStringRef{});
}

VALUE raiseExportError(VALUE, VALUE message) {
  raiseSketchupExportError(StringValueCStr(message));
}

SUVector3D readVector(VALUE components) {
  return {NUM2DBL(rb_ary_entry(components, 0)), NUM2DBL(rb_ary_entry(components, 1)),
          NUM2DBL(rb_ary_entry(components, 2))};
}

VALUE angleBetween(VALUE, VALUE first, VALUE second) {
  return GetRubyInterface(angleBetweenVectors(readVector(first), readVector(second)));
}

VALUE fixErrors(VALUE) {
  return fixModelErrors(SUModelRef{}) ? Qtrue : Qfalse;
}

// What exportEntities returns for a node that goes into a new model.
VALUE exportEntitiesOf(VALUE, VALUE self, VALUE node, VALUE recurse) {
  SUModelRef model = {};
  SUEntitiesRef entities = {};
  SUModelCreate(&model);
  SUModelGetEntities(model, &entities);
  return INT2NUM(exportEntities(self, node, model, entities, recurse));
}

VALUE transformOf(VALUE, VALUE transformation) {
  SUTransformation transform = {};
  setTransformFromRubyTransform(transformation, &transform);
  VALUE const values = rb_ary_new();
  for (double const value : transform.values) {
    rb_ary_push(values, GetRubyInterface(value));
  }
  return values;
}

}  // namespace

void defineExportBindings(VALUE module) {
  rb_define_singleton_method(module, "sketchup_string", sketchupString, 1);
  rb_define_singleton_method(module, "invalid_sketchup_string", invalidSketchupString, 0);
  rb_define_singleton_method(module, "raise_export_error", raiseExportError, 1);
  rb_define_singleton_method(module, "angle_between", angleBetween, 2);
  rb_define_singleton_method(module, "fix_errors", fixErrors, 0);
  rb_define_singleton_method(module, "export_entities", exportEntitiesOf, 3);
  rb_define_singleton_method(module, "transform_of", transformOf, 1);
}
