// Announces imported meshes, with their materials and instances, to the Ruby side through the Importer's callbacks.
//
// The native side makes no host entities on import: it passes names, mesh indices, colours and texture paths. Ruby
// exceptions raised by the callbacks pass through and end the import; meshes announced before stay announced.
#pragma once

#include <ruby.h>

#include "src/balancer/balancer_sdk.h"

// Hands over one mesh of the depot: get_root_definition, get_mesh_name, add_material per face set (or once for the
// default material), add_instance at IDENTITY. Mesh 0 becomes the current mesh. False after a console line when the
// depot or the mesh is missing.
bool sendMeshToRuby(unsigned int meshIndex, VALUE self);

// Calls add_material with the material's name, colour or nil, and texture or nil; a null material gets a generated
// name. Returns the callback's result.
VALUE addOBJMaterial(ab::IMaterial const* material, VALUE self, unsigned int meshIndex, unsigned int materialIndex);

// Sketchup::Color of the record: each component times 255, truncated, not clamped.
VALUE getSUColorFromBalancerColor(ab::IMaterial::Color const* color);
