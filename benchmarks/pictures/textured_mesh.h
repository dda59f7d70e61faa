// The mesh that all simplifiers under test get when pictures are compared, and its file.
//
// A vertex is one combination of position (x y z, model units), normal (unit length) and UV (v upwards); faces are
// three numbers of vertices, from 0, counter-clockwise from outside, and each has the number of its texture. A file is
// the counts of vertices, faces and textures as 32-bit numbers, then the arrays in the order below, all little endian.
// A file of textures is their count, then for each its width, its height and 3 bytes for each pixel, from the top.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mirel::pictures {

struct TexturedMesh {
  std::vector<float> positions;         // vertices x 3
  std::vector<float> normals;           // vertices x 3
  std::vector<float> uvs;               // vertices x 2
  std::vector<std::uint32_t> faces;     // faces x 3
  std::vector<std::uint32_t> textures;  // faces

  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
};

struct Texture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> rgb;
};

// All of them end the program with a message when something is wrong with the file.
TexturedMesh read_textured_mesh(std::string const& path);
void write_textured_mesh(std::string const& path, TexturedMesh const& mesh);
std::vector<Texture> read_textures(std::string const& path);
void write_textures(std::string const& path, std::vector<Texture> const& textures);

// Numbers equal positions alike: per vertex, and in order of first occurrence.
std::vector<std::uint32_t> join_positions(TexturedMesh const& mesh);
// One vertex for each position, and one texture: without what tells vertices of one position apart.
TexturedMesh with_positions_alone(TexturedMesh const& mesh);
// Leaves out the vertices that no face uses.
void drop_unused_vertices(TexturedMesh& mesh);

}  // namespace mirel::pictures
