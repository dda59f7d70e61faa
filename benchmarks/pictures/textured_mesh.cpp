#include "benchmarks/pictures/textured_mesh.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

#include "benchmarks/peers/indexed_mesh.h"

namespace mirel::pictures {

namespace {

using peers::fail;
using peers::File;

template <typename T>
void read(std::FILE* file, std::vector<T>& values, std::size_t count, std::string const& path) {
  values.resize(count);
  if (std::fread(values.data(), sizeof(T), count, file) != count) fail(path + ": is cut short");
}

template <typename T>
bool write(std::FILE* file, std::vector<T> const& values) {
  return std::fwrite(values.data(), sizeof(T), values.size(), file) == values.size();
}

}  // namespace

TexturedMesh read_textured_mesh(std::string const& path) {
  File const file(std::fopen(path.c_str(), "rb"));
  std::uint32_t counts[3];
  if (!file || std::fread(counts, 4, 3, file.get()) != 3) fail(path + ": cannot be read");
  TexturedMesh mesh;
  read(file.get(), mesh.positions, 3 * std::size_t{counts[0]}, path);
  read(file.get(), mesh.normals, 3 * std::size_t{counts[0]}, path);
  read(file.get(), mesh.uvs, 2 * std::size_t{counts[0]}, path);
  read(file.get(), mesh.faces, 3 * std::size_t{counts[1]}, path);
  read(file.get(), mesh.textures, counts[1], path);
  for (std::uint32_t const vertex : mesh.faces) {
    if (vertex >= counts[0]) fail(path + ": a face names a vertex that does not exist");
  }
  for (std::uint32_t const texture : mesh.textures) {
    if (texture >= counts[2]) fail(path + ": a face names a texture that does not exist");
  }
  return mesh;
}

void write_textured_mesh(std::string const& path, TexturedMesh const& mesh) {
  File file(std::fopen(path.c_str(), "wb"));
  std::uint32_t const last = mesh.textures.empty() ? 0 : *std::max_element(mesh.textures.begin(), mesh.textures.end());
  std::uint32_t const counts[3] = {mesh.vertex_count(), mesh.face_count(), last + 1};
  bool const written = file && std::fwrite(counts, 4, 3, file.get()) == 3 && write(file.get(), mesh.positions) &&
                       write(file.get(), mesh.normals) && write(file.get(), mesh.uvs) &&
                       write(file.get(), mesh.faces) && write(file.get(), mesh.textures);
  if (!written || std::fclose(file.release()) != 0) fail(path + ": cannot be written");
}

std::vector<Texture> read_textures(std::string const& path) {
  File const file(std::fopen(path.c_str(), "rb"));
  std::uint32_t count = 0;
  if (!file || std::fread(&count, 4, 1, file.get()) != 1) fail(path + ": cannot be read");
  std::vector<Texture> textures(count);
  for (Texture& texture : textures) {
    std::uint32_t size[2];
    if (std::fread(size, 4, 2, file.get()) != 2 || size[0] == 0 || size[1] == 0) fail(path + ": is cut short");
    texture.width = size[0];
    texture.height = size[1];
    read(file.get(), texture.rgb, std::size_t{3} * size[0] * size[1], path);
  }
  return textures;
}

void write_textures(std::string const& path, std::vector<Texture> const& textures) {
  File file(std::fopen(path.c_str(), "wb"));
  auto const count = static_cast<std::uint32_t>(textures.size());
  bool written = file && std::fwrite(&count, 4, 1, file.get()) == 1;
  for (Texture const& texture : textures) {
    std::uint32_t const size[2] = {texture.width, texture.height};
    written = written && std::fwrite(size, 4, 2, file.get()) == 2 && write(file.get(), texture.rgb);
  }
  if (!written || std::fclose(file.release()) != 0) fail(path + ": cannot be written");
}

std::vector<std::uint32_t> join_positions(TexturedMesh const& mesh) {
  std::map<std::array<float, 3>, std::uint32_t> numbers;
  std::vector<std::uint32_t> position_of;
  for (std::size_t i = 0; i < mesh.positions.size(); i += 3) {
    std::array<float, 3> const position = {mesh.positions[i], mesh.positions[i + 1], mesh.positions[i + 2]};
    position_of.push_back(numbers.emplace(position, static_cast<std::uint32_t>(numbers.size())).first->second);
  }
  return position_of;
}

TexturedMesh with_positions_alone(TexturedMesh const& mesh) {
  std::vector<std::uint32_t> const position_of = join_positions(mesh);
  TexturedMesh bare;
  bare.positions.resize(3 * std::size_t{1 + *std::max_element(position_of.begin(), position_of.end())});
  for (std::size_t v = 0; v < position_of.size(); ++v) {
    std::copy_n(mesh.positions.data() + 3 * v, 3, bare.positions.data() + std::size_t{3} * position_of[v]);
  }
  for (std::uint32_t const vertex : mesh.faces) bare.faces.push_back(position_of[vertex]);
  bare.textures.assign(mesh.textures.size(), 0);
  return bare;
}

void drop_unused_vertices(TexturedMesh& mesh) {
  std::vector<std::uint32_t> number(mesh.vertex_count(), UINT32_MAX);
  TexturedMesh kept;
  for (std::uint32_t& vertex : mesh.faces) {
    if (number[vertex] == UINT32_MAX) {
      number[vertex] = kept.vertex_count();
      auto const copy = [vertex](std::vector<float> const& from, std::vector<float>& to, std::size_t width) {
        float const* const values = from.data() + width * vertex;
        to.insert(to.end(), values, values + width);
      };
      copy(mesh.positions, kept.positions, 3);
      copy(mesh.normals, kept.normals, 3);
      copy(mesh.uvs, kept.uvs, 2);
    }
    vertex = number[vertex];
  }
  mesh.positions = std::move(kept.positions);
  mesh.normals = std::move(kept.normals);
  mesh.uvs = std::move(kept.uvs);
}

}  // namespace mirel::pictures
