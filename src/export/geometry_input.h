// Turns one mesh of the depot into a geometry input, and decides which edges are soft and smooth.
//
// Coordinates go over as they are, widened to double: no units are converted and no transformation is applied.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <ruby.h>

#include <span>

#include "src/balancer/balancer_sdk.h"

// Fills a created, empty geometry input: vertices, one triangle per face, materials and UVs. `materials` has one
// entry per face set; an invalid one, and a set beyond the end, is no material. Asks apply_materials_both_sides? of
// the receiver. Raises through raiseSketchupExportError.
void exportMesh(VALUE self, ab::IMesh* source, SUGeometryInputRef geometryInput,
                std::span<SUMaterialRef const> materials);

// Sets every edge between two faces of the collection soft and smooth where the angle between the faces is no more
// than smooth_angle(true) of the receiver, in radians, and hard elsewhere. Other edges stay as they are.
void softenEdges(VALUE self, SUEntitiesRef entities);

// One point per vertex; without a face table the points stay as they are. `points` has room for all vertices.
// Returns null, or the text of the failure that ended it.
char const* getSUPointsFromMeshVertices(ab::IMesh const* source, SUPoint3D* points);

// One loop per face, in order, with the edges soft and smooth that the mesh does not mark as boundary or sharp;
// without a face table none. Returns null, or the text of the failure that ended it.
char const* getSULoopInputsFromFaces(ab::IMesh const* source, SULoopInputRef* loops);

// In radians. NaN where a vector has no length, and where rounding takes the cosine beyond 1.
double angleBetweenVectors(SUVector3D a, SUVector3D b);
