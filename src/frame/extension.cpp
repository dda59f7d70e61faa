#include "src/frame/extension.h"

#include "src/balancer/balancer_state.h"
#include "src/balancer/simplification.h"
#include "src/capture/mesh_capture.h"
#include "src/export/model_export.h"
#include "src/export/obj_export.h"
#include "src/frame/interned_name.h"
#include "src/frame/method_table.h"
#include "src/import/fbx/scene_import.h"
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
  defineMethod<loadOBJ>(type, "import_obj");
  defineMethod<loadPLY>(type, "import_ply");
  defineMethod<simplify>(type, "go_to_step");
  defineMethod<doDecimationStep>(type, "make_decimation_step");
  defineMethod<doRefinementStep>(type, "make_refinement_step");
  defineMethod<makeHighestResolution>(type, "make_highest_resolution");
  defineMethod<makeLowestResolution>(type, "make_lowest_resolution");
  defineMethod<goToFaces>(type, "go_to_faces");
  // Spelled without the second "r": the plugin calls it so.
  defineMethod<getHierarchySteps>(type, "get_hierachy_steps");
  defineMethod<draw>(type, "draw");
  defineMethod<getUVs>(type, "get_uvs");
  defineMethod<exportSKP>(type, "export_skp");
  defineMethod<getFaceCount>(type, "count_faces");
  defineMethod<getCurrentStep>(type, "get_current_step");
  defineMethod<convertSkpMeshesToBalancerMesh>(type, "get_balancer_mesh");
  defineMethod<saveOBJ>(type, "export_obj");
  defineMethod<getRemappedMesh>(type, "get_remapped_mesh");
  defineMethod<freeBalancer>(type, "clear_balancer");
  defineMethod<getTriangles>(type, "get_triangles");
  defineMethod<getMeshBounds>(type, "get_mesh_bounds");
  defineMethod<getPoints>(type, "get_points");
  defineMethod<initMeshDepot>(type, "init_mesh_depot");
  defineMethod<initSimplify>(type, "init_simplify");
  Init_Import_fbx();
}
