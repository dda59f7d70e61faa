#include "standalone/fbx/triangulation.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "standalone/fbx/polygon_cutter.h"

namespace mirel::fbx {
namespace {

using fbxsdk::FbxLayerElement;

// Values for new places, each from an old one; a value that is missing is `missing`.
template <class T>
bool gather(Array<T>& values, Array<int> const& places, T const& missing) {
  if (values.empty()) return true;
  Array<T> gathered;
  if (!gathered.allocate(places.size())) return false;
  for (std::size_t k = 0; k < places.size(); ++k) {
    std::size_t const place = static_cast<std::size_t>(places[k]);
    gathered[k] = place < values.size() ? values[place] : missing;
  }
  values = std::move(gathered);
  return true;
}

template <class T>
bool carry_over(Attribute<T>& attribute, Array<int> const& corner_sources, Array<int> const& polygon_sources) {
  if (attribute.mapping != FbxLayerElement::eByPolygonVertex && attribute.mapping != FbxLayerElement::eByPolygon) {
    return true;
  }
  bool const by_corner = attribute.mapping == FbxLayerElement::eByPolygonVertex;
  Array<int> const& sources = by_corner ? corner_sources : polygon_sources;
  // A material element has its indices whatever its reference mode says, and no values.
  if (!gather(attribute.indices, sources, -1)) return false;
  return attribute.reference != FbxLayerElement::eDirect || gather(attribute.values, sources, T());
}

template <class T>
bool copy_array(Array<T> const& values, Array<T>& copy) {
  if (!copy.allocate(values.size())) return false;
  std::copy(values.begin(), values.end(), copy.begin());
  return true;
}

template <class T>
bool copy_attribute(Attribute<T> const& attribute, Attribute<T>& copy) {
  copy.mapping = attribute.mapping;
  copy.reference = attribute.reference;
  copy.name = attribute.name;
  return copy_array(attribute.values, copy.values) && copy_array(attribute.indices, copy.indices);
}

// How many triangles a polygon gives.
std::size_t count_triangles(MeshData const& mesh, std::size_t polygon) {
  std::size_t const size = mesh.polygon_size(polygon);
  if (size < 3) return 0;
  int const* const corners = &mesh.corners[mesh.first_corner(polygon)];
  return std::any_of(corners, corners + size, [](int corner) { return corner < 0; }) ? 0 : size - 2;
}

}  // namespace

bool is_triangulated(MeshData const& mesh) {
  return mesh.starts.empty() && !mesh.is_damaged;
}

bool triangulate(MeshData&& mesh, MeshData& result) {
  std::size_t total = 0;
  for (std::size_t polygon = 0; polygon < mesh.polygon_count(); ++polygon) total += count_triangles(mesh, polygon);
  if (total > static_cast<std::size_t>(std::numeric_limits<int>::max()) / 3) return false;
  Array<int> corner_sources;
  Array<int> polygon_sources;
  result = MeshData();
  if (!corner_sources.allocate(total * 3) || !polygon_sources.allocate(total) || !result.corners.allocate(total * 3)) {
    return false;
  }
  PolygonCutter cutter;
  std::vector<std::uint32_t> triangles;
  std::size_t place = 0;
  for (std::size_t polygon = 0; polygon < mesh.polygon_count(); ++polygon) {
    if (count_triangles(mesh, polygon) == 0) continue;
    std::size_t const first = mesh.first_corner(polygon);
    triangles.clear();
    cutter.cut(mesh.points.data(), &mesh.corners[first], mesh.polygon_size(polygon), triangles);
    for (std::uint32_t const corner : triangles) {
      corner_sources[place] = static_cast<int>(first + corner);
      polygon_sources[place / 3] = static_cast<int>(polygon);
      result.corners[place++] = mesh.corners[first + corner];
    }
  }
  result.points = std::move(mesh.points);
  result.layers = std::move(mesh.layers);
  for (MeshLayer& layer : result.layers) {
    if (layer.normals != nullptr && !carry_over(*layer.normals, corner_sources, polygon_sources)) return false;
    if (layer.materials != nullptr && !carry_over(*layer.materials, corner_sources, polygon_sources)) return false;
    for (UvAttribute& uvs : layer.uvs) {
      if (!carry_over(uvs, corner_sources, polygon_sources)) return false;
    }
  }
  return true;
}

TriangulationMemory memory_of_triangulation(MeshData const& mesh) {
  std::size_t triangles = 0;
  std::size_t largest = 0;
  for (std::size_t polygon = 0; polygon < mesh.polygon_count(); ++polygon) {
    triangles += count_triangles(mesh, polygon);
    largest = std::max(largest, mesh.polygon_size(polygon));
  }
  // Corners, and the two lists of where each came from; the cutter's own lists for one polygon.
  std::size_t const cutter = largest > 4 ? largest * 96 : 0;
  std::size_t taken = triangles * 7 * sizeof(int) + cutter;
  std::size_t freed = 0;
  std::size_t peak = taken;
  // Attributes are carried over one after the other, each freeing what it had.
  auto const carry = [&](Mapping mapping, std::size_t old_count, std::size_t value_size) {
    bool const by_corner = mapping == FbxLayerElement::eByPolygonVertex;
    if (old_count == 0 || (!by_corner && mapping != FbxLayerElement::eByPolygon)) return;
    taken += triangles * (by_corner ? 3 : 1) * value_size;
    peak = std::max(peak, taken > freed ? taken - freed : 0);
    freed += old_count * value_size;
  };
  auto const carry_attribute = [&](auto const& attribute) {
    carry(attribute.mapping, attribute.indices.size(), sizeof(int));
    if (attribute.reference == FbxLayerElement::eDirect) {
      // The values of a material's layer are pointers.
      constexpr std::size_t kValueSize = sizeof(*attribute.values.data());  // NOLINT(bugprone-sizeof-expression)
      carry(attribute.mapping, attribute.values.size(), kValueSize);
    }
  };
  for (MeshLayer const& layer : mesh.layers) {
    if (layer.normals != nullptr) carry_attribute(*layer.normals);
    if (layer.materials != nullptr) carry_attribute(*layer.materials);
    for (UvAttribute const& uvs : layer.uvs) carry_attribute(uvs);
  }
  freed += triangles * 4 * sizeof(int) + cutter + (mesh.corners.size() + mesh.starts.size()) * sizeof(int);
  return {peak, taken > freed ? taken - freed : 0};
}

bool copy_mesh(MeshData const& mesh, MeshData& copy) {
  copy = MeshData();
  copy.is_damaged = mesh.is_damaged;
  bool done = copy_array(mesh.points, copy.points) && copy_array(mesh.corners, copy.corners) &&
              copy_array(mesh.starts, copy.starts);
  for (MeshLayer const& layer : mesh.layers) {
    MeshLayer& copied = copy.layers.emplace_back();
    if (layer.normals != nullptr) {
      copied.normals = std::make_unique<NormalAttribute>();
      done = done && copy_attribute(*layer.normals, *copied.normals);
    }
    if (layer.materials != nullptr) {
      copied.materials = std::make_unique<MaterialAttribute>();
      done = done && copy_attribute(*layer.materials, *copied.materials);
    }
    for (UvAttribute const& uvs : layer.uvs) {
      UvAttribute& copied_uvs = copied.uvs.emplace_back();
      copied_uvs.channel = uvs.channel;
      done = done && copy_attribute(uvs, copied_uvs);
    }
  }
  return done;
}

}  // namespace mirel::fbx
