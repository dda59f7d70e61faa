#include "standalone/engine/prepare/validate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace mirel::engine {
namespace {

// 3---2
// | / |    two faces, one set
// 0---1
WedgeMesh square() {
  WedgeMesh mesh;
  mesh.vertices = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  mesh.position_of = {0, 1, 2, 3};
  mesh.position_count = 4;
  mesh.faces = {0, 1, 2, 0, 2, 3};
  mesh.set_begin = {0, 2};
  return mesh;
}

TEST(Validate, AcceptsValidAndEmptyMeshes) {
  EXPECT_EQ(validate(square()), "");
  WedgeMesh empty;
  empty.set_begin = {0, 0};
  EXPECT_EQ(validate(empty), "");
}

struct Fault {
  char const* word;  // the array that the message must name
  std::function<void(WedgeMesh&)> make;
};

TEST(Validate, NamesEachFault) {
  Fault const faults[] = {
      {"vertices", [](WedgeMesh& m) { m.vertices.pop_back(); }},
      {"vertices", [](WedgeMesh& m) { m.vertices[4] = NAN; }},
      {"normals",
       [](WedgeMesh& m) {
         m.normals = {0, 0, 1};
       }},
      {"normals", [](WedgeMesh& m) { m.normals.assign(12, INFINITY); }},
      {"uvs",
       [](WedgeMesh& m) {
         m.uvs = {0, 0};
       }},
      {"uvs", [](WedgeMesh& m) { m.uvs.assign(8, NAN); }},
      {"position_of", [](WedgeMesh& m) { m.position_of.pop_back(); }},
      {"position_of",
       [](WedgeMesh& m) {
         m.position_of = {1, 0, 2, 3};
       }},
      {"position_of", [](WedgeMesh& m) { m.position_count = 3; }},
      {"position_count", [](WedgeMesh& m) { m.position_count = 5; }},
      {"vertices",
       [](WedgeMesh& m) {
         m.position_of = {0, 1, 2, 0}, m.position_count = 3;
       }},
      {"faces", [](WedgeMesh& m) { m.faces[5] = 4; }},
      {"faces", [](WedgeMesh& m) { m.faces.pop_back(); }},
      {"vertices", [](WedgeMesh& m) { m.faces[5] = 1; }},
      {"faces", [](WedgeMesh& m) { m.faces = {0, 1, 2, 0, 3, 3}; }},
      {"repeats",
       [](WedgeMesh& m) {
         m.faces = {0, 1, 2, 0, 2, 3, 2, 0, 1}, m.set_begin = {0, 3};
       }},
      {"set_begin",
       [](WedgeMesh& m) {
         m.set_begin = {0, 1};
       }},
      {"set_begin",
       [](WedgeMesh& m) {
         m.set_begin = {0, 3, 2};
       }},
      {"set_begin", [](WedgeMesh& m) { m.set_begin.clear(); }},
      {"lowest_position", [](WedgeMesh& m) { m.lowest_position = {0}; }},
  };
  for (Fault const& fault : faults) {
    WedgeMesh mesh = square();
    fault.make(mesh);
    EXPECT_NE(validate(mesh).find(fault.word), std::string::npos) << fault.word << ": " << validate(mesh);
  }
}

TEST(Validate, AllowsOppositeFacesAndRepeatsInOtherSets) {
  WedgeMesh mesh = square();
  mesh.faces = {0, 1, 2, 0, 2, 3, 0, 2, 1};
  mesh.set_begin = {0, 3};
  EXPECT_EQ(validate(mesh), "");
  mesh.faces = {0, 1, 2, 0, 2, 3, 0, 1, 2};
  mesh.set_begin = {0, 2, 3};
  EXPECT_EQ(validate(mesh), "");
}

}  // namespace
}  // namespace mirel::engine
