#include "benchmarks/fbx/generator/torus_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>

namespace mirel::fbx_generator {
namespace {

using namespace std::string_view_literals;

constexpr std::int64_t kGeometryId = 1001;
constexpr std::int64_t kModelId = 1002;
constexpr std::int64_t kMaterialId = 1003;

struct Torus {
  std::vector<double> points;
  std::vector<std::int32_t> corners;
  std::vector<double> normals;
  std::vector<double> uvs;
  std::vector<std::int32_t> uv_indices;
};

Torus make_torus(MeshFileOptions const& options) {
  auto const sides =
      static_cast<std::int32_t>(std::max(2.0, std::round(std::sqrt(static_cast<double>(options.triangle_count) / 4))));
  std::int32_t const rings = 2 * sides;
  auto const stored = [&](double value) {
    return options.has_full_doubles ? value : static_cast<double>(static_cast<float>(value));
  };
  Torus torus;
  std::vector<double> vertex_normals;
  for (std::int32_t j = 0; j < rings; ++j) {
    for (std::int32_t i = 0; i < sides; ++i) {
      double const u = 2 * std::numbers::pi * j / rings;
      double const v = 2 * std::numbers::pi * i / sides;
      double const r = 0.4 + 0.01 * std::sin(23 * u) * std::sin(17 * v);
      for (double const c : {(1 + r * std::cos(v)) * std::cos(u), (1 + r * std::cos(v)) * std::sin(u), r * std::sin(v)})
        torus.points.push_back(stored(100 * c));
      for (double const c : {std::cos(v) * std::cos(u), std::cos(v) * std::sin(u), std::sin(v)})
        vertex_normals.push_back(stored(c));
    }
  }
  // The UVs of the first ring and side stand once more at the last.
  std::vector<double> uv_table;
  for (std::int32_t j = 0; j <= rings; ++j) {
    for (std::int32_t i = 0; i <= sides; ++i) {
      uv_table.push_back(stored(static_cast<double>(j) / rings));
      uv_table.push_back(stored(static_cast<double>(i) / sides));
    }
  }
  auto const add_corner = [&](std::int32_t j, std::int32_t i, bool is_last) {
    std::int32_t const point = j % rings * sides + i % sides;
    torus.corners.push_back(is_last ? ~point : point);
    for (std::size_t c = 0; c < 3; ++c)
      torus.normals.push_back(vertex_normals[static_cast<std::size_t>(point) * 3 + c]);
    std::int32_t const uv = j * (sides + 1) + i;
    if (!options.has_direct_uvs) return torus.uv_indices.push_back(uv);
    for (std::size_t c = 0; c < 2; ++c) torus.uvs.push_back(uv_table[static_cast<std::size_t>(uv) * 2 + c]);
  };
  for (std::int32_t j = 0; j < rings; ++j) {
    for (std::int32_t i = 0; i < sides; ++i) {
      add_corner(j, i, false);
      add_corner(j + 1, i, false);
      add_corner(j + 1, i + 1, true);
      add_corner(j, i, false);
      add_corner(j + 1, i + 1, false);
      add_corner(j, i + 1, true);
    }
  }
  if (!options.has_direct_uvs) torus.uvs = std::move(uv_table);
  return torus;
}

void write_settings(BinaryWriter& writer, int version) {
  writer.begin("FBXHeaderExtension");
  writer.begin("FBXHeaderVersion").integer(1003).end();
  writer.begin("FBXVersion").integer(version).end();
  writer.begin("Creator").text("Mirel's FBX generator").end();
  writer.end();
  writer.begin("GlobalSettings");
  writer.begin("Version").integer(1000).end();
  writer.begin("Properties70");
  auto const setting = [&](std::string_view name, std::int32_t value) {
    writer.begin("P").text(name).text("int").text("Integer").text("").integer(value).end();
  };
  setting("UpAxis", 1);
  setting("UpAxisSign", 1);
  setting("FrontAxis", 2);
  setting("FrontAxisSign", 1);
  setting("CoordAxis", 0);
  setting("CoordAxisSign", 1);
  writer.begin("P").text("UnitScaleFactor").text("double").text("Number").text("").real(1).end();
  writer.end().end();
}

void write_definitions(BinaryWriter& writer) {
  writer.begin("Definitions");
  writer.begin("Version").integer(100).end();
  writer.begin("Count").integer(3).end();
  for (std::string_view const type : {"Geometry", "Model", "Material"}) {
    writer.begin("ObjectType").text(type).begin("Count").integer(1).end().end();
  }
  writer.end();
}

void write_layer_entry(BinaryWriter& writer, std::string_view type) {
  writer.begin("LayerElement").begin("Type").text(type).end().begin("TypedIndex").integer(0).end().end();
}

void write_geometry(BinaryWriter& writer, Torus const& torus) {
  auto const modes = [&](std::string_view mapping, std::string_view reference) {
    writer.begin("MappingInformationType").text(mapping).end();
    writer.begin("ReferenceInformationType").text(reference).end();
  };
  writer.begin("Geometry").id(kGeometryId).text("torus\0\1Geometry"sv).text("Mesh");
  writer.begin("GeometryVersion").integer(124).end();
  writer.begin("Vertices").array(std::span(torus.points)).end();
  writer.begin("PolygonVertexIndex").array(std::span(torus.corners)).end();
  writer.begin("LayerElementNormal").integer(0);
  writer.begin("Version").integer(101).end();
  writer.begin("Name").text("").end();
  modes("ByPolygonVertex", "Direct");
  writer.begin("Normals").array(std::span(torus.normals)).end().end();
  writer.begin("LayerElementUV").integer(0);
  writer.begin("Version").integer(101).end();
  writer.begin("Name").text("UVMap").end();
  modes("ByPolygonVertex", torus.uv_indices.empty() ? "Direct" : "IndexToDirect");
  writer.begin("UV").array(std::span(torus.uvs)).end();
  if (!torus.uv_indices.empty()) writer.begin("UVIndex").array(std::span(torus.uv_indices)).end();
  writer.end();
  writer.begin("LayerElementMaterial").integer(0);
  writer.begin("Version").integer(101).end();
  writer.begin("Name").text("").end();
  modes("AllSame", "IndexToDirect");
  std::int32_t const first_material[] = {0};
  writer.begin("Materials").array(std::span<std::int32_t const>(first_material)).end().end();
  writer.begin("Layer").integer(0).begin("Version").integer(100).end();
  for (std::string_view const type : {"LayerElementNormal", "LayerElementMaterial", "LayerElementUV"})
    write_layer_entry(writer, type);
  writer.end().end();
}

void write_model_and_material(BinaryWriter& writer) {
  writer.begin("Model").id(kModelId).text("torus\0\1Model"sv).text("Mesh");
  writer.begin("Version").integer(232).end();
  writer.begin("Properties70");
  writer.begin("P").text("Lcl Scaling").text("Lcl Scaling").text("").text("A").real(2).real(2).real(2).end();
  writer.end().end();
  writer.begin("Material").id(kMaterialId).text("clay\0\1Material"sv).text("");
  writer.begin("Version").integer(102).end();
  writer.begin("ShadingModel").text("Lambert").end();
  writer.begin("Properties70");
  writer.begin("P").text("DiffuseColor").text("Color").text("").text("A").real(0.5).real(0.25).real(0.75).end();
  writer.end().end();
}

void write_connections(BinaryWriter& writer) {
  writer.begin("Connections");
  writer.begin("C").text("OO").id(kModelId).id(0).end();
  writer.begin("C").text("OO").id(kGeometryId).id(kModelId).end();
  writer.begin("C").text("OO").id(kMaterialId).id(kModelId).end();
  writer.end();
}

}  // namespace

std::size_t MeshFile::raw_array_size() const {
  std::size_t size = 0;
  for (ArrayPlace const& array : arrays) size += array.raw_size;
  return size;
}

MeshFile make_mesh_file(MeshFileOptions const& options) {
  Torus const torus = make_torus(options);
  BinaryWriter writer(options.form);
  write_settings(writer, options.form.version);
  write_definitions(writer);
  writer.begin("Objects");
  write_geometry(writer, torus);
  write_model_and_material(writer);
  writer.end();
  write_connections(writer);
  MeshFile file;
  file.bytes = writer.finish();
  file.arrays = writer.arrays();
  file.triangle_count = torus.corners.size() / 3;
  file.point_count = torus.points.size() / 3;
  return file;
}

bool write_file(std::string const& path, std::string const& bytes, std::string& error) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  int reason = errno;
  if (file != nullptr && std::fclose(file) != 0) {
    reason = errno;
    written = false;
  }
  if (!written) error = path + ": " + std::strerror(reason);
  return written;
}

}  // namespace mirel::fbx_generator
