// Writes the scene that the plugin describes as a tree of entity nodes into a new model file.
//
// A failing call of the SketchUp C API raises a RuntimeError with a fixed text; Ruby exceptions of the nodes and of
// the receiver pass through. Either leaves the model unsaved and unreleased.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <ruby.h>

// export_skp: `path` is a String, `root` the root node. A truthy `recurse` reports progress; only true itself walks
// down the tree. Returns true; whether the file could be saved is not told.
VALUE exportSKP(VALUE self, VALUE path, VALUE ignored, VALUE root, VALUE recurse);

// Writes the node's own mesh into the collection and, when `recurse` is true itself, its children. Returns 0.
int exportEntities(VALUE self, VALUE node, SUModelRef model, SUEntitiesRef& entities, VALUE recurse);

// The definition that @exported_definitions has under `name`, or an invalid reference when the model has none of
// that name. Raises TypeError when the Hash has no such name.
SUComponentDefinitionRef findDefinitionByName(VALUE self, SUModelRef model, VALUE name);

// Copies the 16 numbers of the Ruby transformation's to_a, in their order.
void setTransformFromRubyTransform(VALUE transformation, SUTransformation* result);

// Lets the host repair the model; false where the host cannot.
bool fixModelErrors(SUModelRef model);
