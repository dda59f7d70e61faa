// Turns the plugin's material descriptions into materials of the model that is being written.
//
// All failures raise through raiseSketchupExportError; Ruby exceptions pass through. Materials that have been made
// by then stay as they are.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <ruby.h>

// Makes a material from the description that @imported_materials has under `name` (a String) and tells the receiver
// by material_exported. The caller adds it to the model.
void exportMaterial(VALUE self, SUMaterialRef& material, VALUE name);

// The model's material that @exported_materials has under `name`; invalid when it has none, or the model not.
SUMaterialRef findMaterialByName(VALUE self, SUModelRef model, VALUE name);

// Puts the class's IMPORTED_MATERIAL_PREFIX in front of every material's name, unless a file is being imported.
void addPrefixToAllMaterials(VALUE self, SUModelRef model);
