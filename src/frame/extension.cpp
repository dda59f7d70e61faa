#include "src/frame/extension.h"

#include "src/balancer/balancer_state.h"
#include "src/balancer/simplification.h"
#include "src/capture/mesh_capture.h"
#include "src/export/model_export.h"
#include "src/export/obj_export.h"
#include "src/frame/interned_name.h"
#include "src/frame/method_table.h"
#include "src/import/obj_import.h"
#include "src/import/ply_import.h"
#include "src/preview/mesh_readback.h"
#include "src/preview/preview_drawing.h"

VALUE mSketchup;
VALUE mUI;
VALUE mGeom;
VALUE mZu;
VALUE mPlugin;

void Init_mirel() {
  static ID sketchup;
  static ID ui;
  static ID geom;
  static ID zu;
  static ID mirel;
  registerPreviewReferences();
  mSketchup = rb_const_get(rb_mKernel, internedName(sketchup, "Sketchup"));
  mUI = rb_const_get(rb_mKernel, internedName(ui, "UI"));
  mGeom = rb_const_get(rb_mKernel, internedName(geom, "Geom"));
  mZu = rb_const_get(rb_mKernel, internedName(zu, "Zu"));
  mPlugin = rb_const_get(mZu, internedName(mirel, "Mirel"));
  Init_Plugin();
}

void Init_Plugin() {
  static ID importer;
  VALUE const type = rb_const_get(mPlugin, internedName(importer, "Importer"));
  defineMethod(type, "import_obj", loadOBJ);
  defineMethod(type, "import_ply", loadPLY);
  defineMethod(type, "go_to_step", simplify);
  defineMethod(type, "make_decimation_step", doDecimationStep);
  defineMethod(type, "make_refinement_step", doRefinementStep);
  defineMethod(type, "make_highest_resolution", makeHighestResolution);
  defineMethod(type, "make_lowest_resolution", makeLowestResolution);
  defineMethod(type, "go_to_faces", goToFaces);
  // Spelled without the second "r": the plugin calls it so.
  defineMethod(type, "get_hierachy_steps", getHierarchySteps);
  defineMethod(type, "draw", draw);
  defineMethod(type, "get_uvs", getUVs);
  defineMethod(type, "export_skp", exportSKP);
  defineMethod(type, "count_faces", getFaceCount);
  defineMethod(type, "get_current_step", getCurrentStep);
  defineMethod(type, "get_balancer_mesh", convertSkpMeshesToBalancerMesh);
  defineMethod(type, "export_obj", saveOBJ);
  defineMethod(type, "get_remapped_mesh", getRemappedMesh);
  defineMethod(type, "clear_balancer", freeBalancer);
  defineMethod(type, "get_triangles", getTriangles);
  defineMethod(type, "get_mesh_bounds", getMeshBounds);
  defineMethod(type, "get_points", getPoints);
  defineMethod(type, "init_mesh_depot", initMeshDepot);
  defineMethod(type, "init_simplify", initSimplify);
}
