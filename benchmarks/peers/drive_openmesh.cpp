// The driver of OpenMesh's decimater with its quadric module alone. Faces that its mesh refuses, as at non-manifold
// edges, are left out and counted.
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <OpenMesh/Core/System/omstream.hh>
#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModQuadricT.hh>

#include "benchmarks/peers/driver.h"

namespace mirel::peers {
namespace {

using Mesh = OpenMesh::TriMesh_ArrayKernelT<>;
using Decimater = OpenMesh::Decimater::DecimaterT<Mesh>;

Output simplify(IndexedMesh const& input, std::uint32_t faces) {
  omerr().disable();
  Mesh mesh;
  mesh.reserve(input.vertex_count(), input.vertex_count() + input.face_count(), input.face_count());
  for (std::size_t v = 0; v < input.positions.size(); v += 3) {
    mesh.add_vertex({input.positions[v], input.positions[v + 1], input.positions[v + 2]});
  }
  std::uint32_t refused = 0;
  auto const vertex = [](std::uint32_t v) { return OpenMesh::VertexHandle(static_cast<int>(v)); };
  for (std::size_t f = 0; f < input.faces.size(); f += 3) {
    auto const face = mesh.add_face(vertex(input.faces[f]), vertex(input.faces[f + 1]), vertex(input.faces[f + 2]));
    refused += face.is_valid() ? 0 : 1;
  }
  Decimater decimater(mesh);
  OpenMesh::Decimater::ModQuadricT<Mesh>::Handle quadric;
  decimater.add(quadric);
  decimater.module(quadric).unset_max_err();
  decimater.initialize();
  decimater.decimate_to_faces(0, faces);
  mesh.garbage_collection();
  Output output;
  output.notes = ", \"refused_faces\": " + std::to_string(refused);
  for (auto const v : mesh.vertices()) {
    auto const& p = mesh.point(v);
    output.mesh.positions.insert(output.mesh.positions.end(), {p[0], p[1], p[2]});
  }
  for (auto const f : mesh.faces()) {
    for (auto const v : mesh.fv_range(f)) output.mesh.faces.push_back(static_cast<std::uint32_t>(v.idx()));
  }
  return output;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run_driver(argc, argv, MIREL_OPENMESH_VERSION, mirel::peers::simplify);
}
