/* The part of the SketchUp C API that the extension uses: declarations, and nothing else.
 *
 * The host offers these functions in its own process; the standalone libsketchup offers the same ones elsewhere.
 * Signatures and layouts are those of the public API, so that object code compiled against this folder works with
 * either. Lengths are in inches, angles in radians, text is UTF-8 ended by a NUL.
 *
 * Ownership: what a Create function makes is the caller's until it is added to a model or an entities collection,
 * or released. What a Get function gives belongs to the model. A reference is to be set to invalid (null) before it
 * is handed to a Create or Get function. */
#pragma once

#include <SketchUpAPI/color.h>
#include <SketchUpAPI/common.h>
#include <SketchUpAPI/component.h>
#include <SketchUpAPI/entities.h>
#include <SketchUpAPI/geometry.h>
#include <SketchUpAPI/geometry_input.h>
#include <SketchUpAPI/initialize.h>
#include <SketchUpAPI/material.h>
#include <SketchUpAPI/model.h>
#include <SketchUpAPI/unicodestring.h>
