// The driver of CGAL's edge collapse, with the policies that MIREL_CGAL_POLICIES names: 1 Lindstrom and Turk, 2 Garland
// and Heckbert with the filter on normals of CGAL's own example. Faces that its mesh refuses, as at non-manifold edges,
// are left out and counted.
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/Bounded_normal_change_placement.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/GarlandHeckbert_plane_policies.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/LindstromTurk_cost.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/LindstromTurk_placement.h>
#include <CGAL/Surface_mesh_simplification/edge_collapse.h>
#include <CGAL/version.h>

#include "benchmarks/peers/driver.h"

namespace mirel::peers {
namespace {

namespace simplification = CGAL::Surface_mesh_simplification;
using Kernel = CGAL::Simple_cartesian<double>;
using Mesh = CGAL::Surface_mesh<Kernel::Point_3>;

// The library's own predicates count edges.
class StopAtFaces {
 public:
  StopAtFaces(Mesh const& mesh, std::uint32_t faces) : mesh_(mesh), faces_(faces) {}

  template <typename Cost, typename Profile>
  bool operator()(Cost const& /*cost*/, Profile const& /*profile*/, std::size_t /*initial*/,
                  std::size_t /*current*/) const {
    return mesh_.number_of_faces() <= faces_;
  }

 private:
  Mesh const& mesh_;
  std::uint32_t faces_;
};

void collapse(Mesh& mesh, std::uint32_t faces) {
  StopAtFaces const stop(mesh, faces);
#if MIREL_CGAL_POLICIES == 1
  simplification::edge_collapse(mesh, stop,
                                CGAL::parameters::get_cost(simplification::LindstromTurk_cost<Mesh>())
                                    .get_placement(simplification::LindstromTurk_placement<Mesh>()));
#else
  using Policies = simplification::GarlandHeckbert_plane_policies<Mesh, Kernel>;
  Policies policies(mesh);
  simplification::Bounded_normal_change_placement<Policies::Get_placement> const placement(policies.get_placement());
  simplification::edge_collapse(mesh, stop, CGAL::parameters::get_cost(policies.get_cost()).get_placement(placement));
#endif
}

Output simplify(IndexedMesh const& input, std::uint32_t faces) {
  Mesh mesh;
  mesh.reserve(input.vertex_count(), input.vertex_count() + input.face_count(), input.face_count());
  std::vector<Mesh::Vertex_index> vertices;
  vertices.reserve(input.vertex_count());
  for (std::size_t v = 0; v < input.positions.size(); v += 3) {
    vertices.push_back(mesh.add_vertex({input.positions[v], input.positions[v + 1], input.positions[v + 2]}));
  }
  std::uint32_t refused = 0;
  for (std::size_t f = 0; f < input.faces.size(); f += 3) {
    auto const face =
        mesh.add_face(vertices[input.faces[f]], vertices[input.faces[f + 1]], vertices[input.faces[f + 2]]);
    refused += face == Mesh::null_face() ? 1 : 0;
  }
  collapse(mesh, faces);
  mesh.collect_garbage();
  Output output;
  output.notes = ", \"refused_faces\": " + std::to_string(refused);
  for (Mesh::Vertex_index const v : mesh.vertices()) {
    auto const& p = mesh.point(v);
    output.mesh.add_vertex(p.x(), p.y(), p.z());
  }
  for (Mesh::Face_index const f : mesh.faces()) {
    for (Mesh::Vertex_index const v : CGAL::vertices_around_face(mesh.halfedge(f), mesh)) {
      output.mesh.faces.push_back(static_cast<std::uint32_t>(v));
    }
  }
  return output;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run_driver(argc, argv, CGAL_VERSION_STR, mirel::peers::simplify);
}
