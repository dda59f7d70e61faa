// Draws one frame of the live preview into the host's viewport.
//
// A frame hands the host the arrays of the last readback and never touches the mesh SDK, so that its cost is the
// host's drawing.
#pragma once

#include <ruby.h>

// draw: `view` is the host's view. Draws the black edges, then the triangles of each entry of @triangles in the
// colour that get_triangle_color_at gives; or, while @draw_points_only is true itself, only the points of
// @mesh_points. Measures the frame into @last_draw_time (seconds). Returns the view. A Ruby exception from a callback
// or the view ends the frame there; so does TypeError or NoMethodError before the first readback.
VALUE draw(VALUE self, VALUE view);
