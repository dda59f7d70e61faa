// The extension's own object files with a second entry: binds for Ruby what no Ruby method reaches, and tells the
// slot number of every SDK operation.
#include <ruby.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <locale>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>

#include "src/balancer/balancer_sdk.h"
#include "src/balancer/balancer_state.h"
#include "src/balancer/mesh_preparation.h"
#include "src/capture/mesh_capture.h"
#include "src/frame/boundary.h"
#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"
#include "src/import/scene_handoff.h"
#include "tests/conformance/test_extension/export_bindings.h"
#include "tests/conformance/test_extension/fbx_bindings.h"
#include "tests/conformance/test_extension/preview_bindings.h"

extern "C" __attribute__((visibility("default"))) void Init_mirel_test();

namespace {

char const* text(VALUE string) {
  return StringValueCStr(string);
}
unsigned int number(VALUE value) {
  return NUM2UINT(value);
}
VALUE boolean(bool value) {
  return value ? Qtrue : Qfalse;
}

VALUE fromDouble(VALUE, VALUE value) {
  return GetRubyInterface(NUM2DBL(value));
}
VALUE fromFloat(VALUE, VALUE value) {
  return GetRubyInterface(static_cast<float>(NUM2DBL(value)));
}
VALUE fromUnsigned(VALUE, VALUE value) {
  return GetRubyInterface(number(value));
}
VALUE fromInt(VALUE, VALUE value) {
  return GetRubyInterface(NUM2INT(value));
}
VALUE fromText(VALUE, VALUE value) {
  return GetRubyInterface(text(value));
}

VALUE printValue(VALUE, VALUE value) {
  return rb_print(value), Qnil;
}
VALUE printText(VALUE, VALUE value) {
  return rb_print(text(value)), Qnil;
}
VALUE printNumber(VALUE, VALUE value) {
  return rb_print(number(value)), Qnil;
}
VALUE putsText(VALUE, VALUE value) {
  return rb_puts(text(value)), Qnil;
}
VALUE putsValue(VALUE, VALUE value) {
  return rb_puts(value), Qnil;
}
VALUE putsLabelNumber(VALUE, VALUE label, VALUE value) {
  return rb_puts(text(label), number(value)), Qnil;
}
VALUE putsLabelText(VALUE, VALUE label, VALUE value) {
  return rb_puts(text(label), text(value)), Qnil;
}
VALUE messageBox(VALUE, VALUE value) {
  return ui_puts(text(value));
}

VALUE updateStatusOne(VALUE, VALUE value) {
  return updateStatus(text(value)), Qnil;
}
VALUE updateStatusTwo(VALUE, VALUE first, VALUE second) {
  return updateStatus(text(first), text(second)), Qnil;
}
VALUE setTaskOfTarget(VALUE, VALUE target, VALUE name) {
  return setTask(target, text(name)), Qnil;
}
VALUE setTaskNameOne(VALUE, VALUE name) {
  return setTaskName(text(name)), Qnil;
}
VALUE setTaskNameSuffix(VALUE, VALUE name, VALUE suffix) {
  return setTaskName(text(name), suffix), Qnil;
}
VALUE setTaskCountOne(VALUE, VALUE count) {
  return setTaskCount(number(count)), Qnil;
}
VALUE setTaskCountTarget(VALUE, VALUE target, VALUE count) {
  return setTaskCount(target, number(count)), Qnil;
}
VALUE updateTarget(VALUE, VALUE target) {
  return update(target), Qnil;
}
VALUE updateSingleton(VALUE) {
  return updateProgress(), Qnil;
}
VALUE setProgressOf(VALUE, VALUE target, VALUE percent) {
  return setProgress(target, number(percent)), Qnil;
}

VALUE initMeshBound(VALUE) {
  return boolean(initMesh());
}
VALUE hasCurrentMesh(VALUE) {
  return boolean(mesh != nullptr);
}
VALUE hasDepot(VALUE) {
  return boolean(meshDepot != nullptr);
}
VALUE hasSDK(VALUE) {
  return boolean(bSDK != nullptr);
}
VALUE hasHierarchy(VALUE) {
  return boolean(hierarchy != nullptr);
}
VALUE nameCurrentMesh(VALUE) {
  return mesh == nullptr ? Qnil : GetRubyInterface(mesh->addNormal(0, 0, 0));
}
VALUE report(VALUE, VALUE self, VALUE verbose) {
  return boolean(reportBalancerMeshes(self, verbose == Qtrue));
}

VALUE pointToFloats(VALUE, VALUE point) {
  float buffer[4] = {0, 0, 0, 77};  // the last one shows an overrun
  float const* const result = getCArrayFromPoint3d(point, buffer);
  VALUE const array = rb_ary_new();
  for (float const value : buffer) {
    rb_ary_push(array, GetRubyInterface(value));
  }
  rb_ary_push(array, boolean(result == buffer));
  return array;
}

VALUE colorFrom(VALUE, VALUE components) {
  ab::IMaterial::Color color = {};
  float* const places[] = {&color.red, &color.green, &color.blue, &color.alpha};
  for (long place = 0; place < 4; ++place) {
    *places[place] = static_cast<float>(NUM2DBL(rb_ary_entry(components, place)));
  }
  return getSUColorFromBalancerColor(&color);
}

// The preview references, to see them set and reset.
VALUE* const kPreview[] = {&rTriangles, &rLines, &rPoints, &rBoundingBox, &rMeshColors};

VALUE getPreview(VALUE) {
  VALUE const array = rb_ary_new();
  for (VALUE const* reference : kPreview) {
    rb_ary_push(array, *reference);
  }
  return array;
}

VALUE setPreview(VALUE, VALUE values) {
  for (long place = 0; place < 5; ++place) {
    *kPreview[place] = rb_ary_entry(values, place);
  }
  return Qnil;
}

VALUE tolerancesDefaults(VALUE) {
  ab::IMeshDepot::AttributeJoiningTolerances const tolerances;
  return rb_ary_new_from_args(2, GetRubyInterface(tolerances.normalTolerance),
                              GetRubyInterface(tolerances.uvTolerance));
}

VALUE sharpFlag(VALUE, VALUE flags) {
  return boolean(ab::IMesh::isBoundarySharpEdge(static_cast<unsigned char>(number(flags))));
}

struct CommaNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// Makes C++ streams write numbers with commas unless they ask for something else, as a host's own locale may.
VALUE setCommaLocale(VALUE, VALUE on) {
  std::locale const& plain = std::locale::classic();
  std::locale::global(on == Qtrue ? std::locale(plain, new CommaNumbers) : plain);
  return on;
}

VALUE showInLocale(VALUE, VALUE value) {
  double const number = NUM2DBL(value);
  return boundary([&]() -> VALUE {
    std::ostringstream stream;
    stream << number;
    std::string const shown = stream.str();
    return protect([&]() -> VALUE { return GetRubyInterface(shown.c_str()); });
  });
}

// Counts the objects that are alive, to see whether a jump has skipped a destructor.
int liveGuards = 0;
struct Guard {
  Guard() { ++liveGuards; }
  ~Guard() { --liveGuards; }
  Guard(Guard const&) = delete;
  Guard& operator=(Guard const&) = delete;
};

// Runs the block inside boundary and protect, as a method that owns C++ objects does.
VALUE runInBoundary(VALUE) {
  return boundary([]() -> VALUE {
    Guard const guard;
    return protect([]() -> VALUE { return rb_yield(Qnil); });
  });
}

// Throws the C++ exception of that kind inside boundary and protect.
VALUE throwInBoundary(VALUE, VALUE kind, VALUE message) {
  unsigned int const which = number(kind);
  char const* const what = text(message);
  return boundary([&]() -> VALUE {
    Guard const guard;
    return protect([&]() -> VALUE {
      switch (which) {
        case 0:
          throw std::runtime_error(what);
        case 1:
          throw std::bad_alloc();
        default:
          throw 1;
      }
    });
  });
}

VALUE getLiveGuards(VALUE) {
  return GetRubyInterface(liveGuards);
}

// The slot that a pointer to a virtual member names.
template <typename Member>
unsigned int slotOf(Member member) {
  struct {
    std::ptrdiff_t pointer;
    std::ptrdiff_t adjustment;
  } parts;
  static_assert(sizeof parts == sizeof member);
  std::memcpy(&parts, &member, sizeof parts);
#if defined(__aarch64__) || defined(__arm__)
  return static_cast<unsigned int>(parts.pointer / static_cast<std::ptrdiff_t>(sizeof(void*)));
#else
  return static_cast<unsigned int>((parts.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
#endif
}

template <typename Member>
void addSlot(VALUE table, char const* name, Member member) {
  rb_hash_aset(table, GetRubyInterface(name), GetRubyInterface(slotOf(member)));
}

VALUE slots(VALUE) {
  VALUE const table = rb_hash_new();
  addSlot(table, "IMaterial.getColor", &ab::IMaterial::getColor);
  addSlot(table, "IMaterial.getTexturePath", &ab::IMaterial::getTexturePath);
  addSlot(table, "IMaterial.getName", &ab::IMaterial::getName);
  addSlot(table, "IMaterial.isDefault", &ab::IMaterial::isDefault);
  addSlot(table, "IMaterial.getTextureBasePath", &ab::IMaterial::getTextureBasePath);
  addSlot(table, "IMesh.getNumVertices", &ab::IMesh::getNumVertices);
  addSlot(table, "IMesh.getNumFaces", &ab::IMesh::getNumFaces);
  addSlot(table, "IMesh.getVertices", &ab::IMesh::getVertices);
  addSlot(table, "IMesh.getFaces", &ab::IMesh::getFaces);
  addSlot(table, "IMesh.getVertexPosition", &ab::IMesh::getVertexPosition);
  addSlot(table, "IMesh.getFace", &ab::IMesh::getFace);
  addSlot(table, "IMesh.addVertex", &ab::IMesh::addVertex);
  addSlot(table, "IMesh.addFace", &ab::IMesh::addFace);
  addSlot(table, "IMesh.hasVertexAttributes", &ab::IMesh::hasVertexAttributes);
  addSlot(table, "IMesh.getNormals", &ab::IMesh::getNormals);
  addSlot(table, "IMesh.setVertexNormals", &ab::IMesh::setVertexNormals);
  addSlot(table, "IMesh.removeVertexNormals", &ab::IMesh::removeVertexNormals);
  addSlot(table, "IMesh.addNormals", &ab::IMesh::addNormals);
  addSlot(table, "IMesh.addNormal", &ab::IMesh::addNormal);
  addSlot(table, "IMesh.getNumNormals", &ab::IMesh::getNumNormals);
  addSlot(table, "IMesh.setFaceNormalIndices", &ab::IMesh::setFaceNormalIndices);
  addSlot(table, "IMesh.removeIndexedNormals", &ab::IMesh::removeIndexedNormals);
  addSlot(table, "IMesh.hasVertexUVs", &ab::IMesh::hasVertexUVs);
  addSlot(table, "IMesh.getVertexUVs", &ab::IMesh::getVertexUVs);
  addSlot(table, "IMesh.setVertexUVs", &ab::IMesh::setVertexUVs);
  addSlot(table, "IMesh.removeVertexUVs", &ab::IMesh::removeVertexUVs);
  addSlot(table, "IMesh.hasCornerUVs", &ab::IMesh::hasCornerUVs);
  addSlot(table, "IMesh.addUVs", &ab::IMesh::addUVs);
  addSlot(table, "IMesh.addUV", &ab::IMesh::addUV);
  addSlot(table, "IMesh.getNumCornerUVs", &ab::IMesh::getNumCornerUVs);
  addSlot(table, "IMesh.getUV", &ab::IMesh::getUV);
  addSlot(table, "IMesh.setFaceUVIndices", &ab::IMesh::setFaceUVIndices);
  addSlot(table, "IMesh.getFaceUVIndices", &ab::IMesh::getFaceUVIndices);
  addSlot(table, "IMesh.removeCornerUVs", &ab::IMesh::removeCornerUVs);
  addSlot(table, "IMesh.getAuxiliaryAttributes", &ab::IMesh::getAuxiliaryAttributes);
  addSlot(table, "IMesh.getNumFaceSets", &ab::IMesh::getNumFaceSets);
  addSlot(table, "IMesh.numFacesInSet", &ab::IMesh::numFacesInSet);
  addSlot(table, "IMesh.getFaceSetFaces", &ab::IMesh::getFaceSetFaces);
  addSlot(table, "IMesh.setNumFaceSets", &ab::IMesh::setNumFaceSets);
  addSlot(table, "IMesh.setCurrentFaceSet", &ab::IMesh::setCurrentFaceSet);
  addSlot(table, "IMesh.getFaceSetOfFace", &ab::IMesh::getFaceSetOfFace);
  addSlot(table, "IMesh.getMaterial", &ab::IMesh::getMaterial);
  addSlot(table, "IMesh.getFaceEdgeFlags", &ab::IMesh::getFaceEdgeFlags);
  addSlot(table, "IMesh.getDefaultMaterial", &ab::IMesh::getDefaultMaterial);
  addSlot(table, "IMesh.getVertexRemap", &ab::IMesh::getVertexRemap);
  addSlot(table, "IMesh.getNormalRemap", &ab::IMesh::getNormalRemap);
  addSlot(table, "IMesh.getUVRemap", &ab::IMesh::getUVRemap);
  addSlot(table, "IMesh.getAuxiliaryRemap", &ab::IMesh::getAuxiliaryRemap);
  addSlot(table, "IMesh.getBoundingBox", &ab::IMesh::getBoundingBox);
  addSlot(table, "IHierarchy.numSteps", &ab::IHierarchy::numSteps);
  addSlot(table, "IHierarchy.currentStep", &ab::IHierarchy::currentStep);
  addSlot(table, "IHierarchy.goToStep", &ab::IHierarchy::goToStep);
  addSlot(table, "IHierarchy.goToFaceCount", &ab::IHierarchy::goToFaceCount);
  addSlot(table, "IMeshDepot.createMesh", &ab::IMeshDepot::createMesh);
  addSlot(table, "IMeshDepot.getNumMeshes", &ab::IMeshDepot::getNumMeshes);
  addSlot(table, "IMeshDepot.getMesh", &ab::IMeshDepot::getMesh);
  addSlot(table, "IMeshDepot.clear", &ab::IMeshDepot::clear);
  addSlot(table, "IMeshDepot.buildHierarchy", &ab::IMeshDepot::buildHierarchy);
  addSlot(table, "IMeshDepot.setLockSurfaceBoundaries", &ab::IMeshDepot::setLockSurfaceBoundaries);
  addSlot(table, "IMeshDepot.setPreventUVFoldovers", &ab::IMeshDepot::setPreventUVFoldovers);
  addSlot(table, "IMeshDepot.setPreventXYFoldovers", &ab::IMeshDepot::setPreventXYFoldovers);
  addSlot(table, "IMeshDepot.joinVertices", &ab::IMeshDepot::joinVertices);
  addSlot(table, "IMeshDepot.eliminateTJunctions", &ab::IMeshDepot::eliminateTJunctions);
  addSlot(table, "IMeshDepot.prepareMeshes", &ab::IMeshDepot::prepareMeshes);
  return table;
}

}  // namespace

void Init_mirel_test() {
  Init_mirel();
  VALUE const module = rb_define_module("MirelTest");
  rb_define_singleton_method(module, "from_double", fromDouble, 1);
  rb_define_singleton_method(module, "from_float", fromFloat, 1);
  rb_define_singleton_method(module, "from_unsigned", fromUnsigned, 1);
  rb_define_singleton_method(module, "from_int", fromInt, 1);
  rb_define_singleton_method(module, "from_text", fromText, 1);
  rb_define_singleton_method(module, "print_value", printValue, 1);
  rb_define_singleton_method(module, "print_text", printText, 1);
  rb_define_singleton_method(module, "print_number", printNumber, 1);
  rb_define_singleton_method(module, "puts_text", putsText, 1);
  rb_define_singleton_method(module, "puts_value", putsValue, 1);
  rb_define_singleton_method(module, "puts_label_number", putsLabelNumber, 2);
  rb_define_singleton_method(module, "puts_label_text", putsLabelText, 2);
  rb_define_singleton_method(module, "message_box", messageBox, 1);
  rb_define_singleton_method(module, "update_status", updateStatusOne, 1);
  rb_define_singleton_method(module, "update_status_two", updateStatusTwo, 2);
  rb_define_singleton_method(module, "set_task", setTaskOfTarget, 2);
  rb_define_singleton_method(module, "set_task_name", setTaskNameOne, 1);
  rb_define_singleton_method(module, "set_task_name_suffix", setTaskNameSuffix, 2);
  rb_define_singleton_method(module, "set_task_count", setTaskCountOne, 1);
  rb_define_singleton_method(module, "set_task_count_of", setTaskCountTarget, 2);
  rb_define_singleton_method(module, "update", updateTarget, 1);
  rb_define_singleton_method(module, "update_progress", updateSingleton, 0);
  rb_define_singleton_method(module, "set_progress", setProgressOf, 2);
  rb_define_singleton_method(module, "init_mesh", initMeshBound, 0);
  rb_define_singleton_method(module, "current_mesh?", hasCurrentMesh, 0);
  rb_define_singleton_method(module, "depot?", hasDepot, 0);
  rb_define_singleton_method(module, "sdk?", hasSDK, 0);
  rb_define_singleton_method(module, "hierarchy?", hasHierarchy, 0);
  rb_define_singleton_method(module, "touch_current_mesh", nameCurrentMesh, 0);
  rb_define_singleton_method(module, "report", report, 2);
  rb_define_singleton_method(module, "point_to_floats", pointToFloats, 1);
  rb_define_singleton_method(module, "color_from", colorFrom, 1);
  rb_define_singleton_method(module, "preview", getPreview, 0);
  rb_define_singleton_method(module, "preview=", setPreview, 1);
  rb_define_singleton_method(module, "tolerances_defaults", tolerancesDefaults, 0);
  rb_define_singleton_method(module, "boundary_sharp_edge?", sharpFlag, 1);
  rb_define_singleton_method(module, "run_in_boundary", runInBoundary, 0);
  rb_define_singleton_method(module, "throw_in_boundary", throwInBoundary, 2);
  rb_define_singleton_method(module, "live_guards", getLiveGuards, 0);
  rb_define_singleton_method(module, "slots", slots, 0);
  rb_define_singleton_method(module, "comma_locale=", setCommaLocale, 1);
  rb_define_singleton_method(module, "show_in_locale", showInLocale, 1);
  defineExportBindings(module);
  defineFbxBindings(module);
  definePreviewBindings(module);
}
