// Reads OBJ statements, block of lines by block of lines, into an ObjSoup.
//
// Layer: a stage of the OBJ reader; opens no files. One pass over the bytes, no storage per line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "standalone/engine/obj/obj_soup.h"
#include "standalone/engine/obj/polygon.h"
#include "standalone/text/decimal.h"

namespace mirel::engine {

// Elements of one kind that a file may hold; every index stays below kNone.
inline constexpr std::uint64_t kObjElementLimit = 0xFFFFFFFE;

class StatementParser {
 public:
  explicit StatementParser(std::uint64_t element_limit = kObjElementLimit) : element_limit_(element_limit) {}

  // [begin, end) holds whole logical lines: its last byte ends a line that the next block does not continue. A line
  // end stands at `end` too, with text::kReadAhead readable bytes behind it. `bytes_to_come`: of the file behind `end`,
  // where it is known, else 0. False: see error().
  bool parse(char const* begin, char const* end, std::uint64_t bytes_to_come);

  // After the last block.
  bool finish();

  ObjSoup& soup() { return soup_; }

  // Why reading stopped, and the line; 0 where no line is to blame.
  std::string const& error() const { return error_; }
  std::uint64_t error_line() const { return error_line_; }

 private:
  enum Kind : std::uint8_t { kVertex, kUv, kNormal };
  struct Corner {
    std::uint32_t of[3];  // by Kind
  };
  struct Polygon {
    std::size_t mesh;
    std::size_t first_face;
    std::size_t corners;
    std::uint64_t line;
  };
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>{}(name); }
  };

  bool parse_statement(char const*& p);
  bool parse_other(char const*& p);
  template <int width, int required>
  bool parse_coordinates(char const*& p, Kind kind, std::vector<float>& values);
  bool parse_face(char const*& p);
  bool add_plain_face(char const*& p);
  template <bool with_uvs, bool with_normals>
  bool add_plain_face(char const*& p);
  bool parse_index(char const*& p, Kind kind, std::uint32_t& index) {
    text::DigitRun const run = text::scan_digits(p);
    if (run.value - 1 < count_[kind] && !text::is_digit(p[run.length])) [[likely]] {
      index = run.value - 1;
      p += run.length;
      return true;
    }
    return parse_unusual_index(p, kind, index);
  }
  bool parse_unusual_index(char const*& p, Kind kind, std::uint32_t& index);
  bool note_forward_index(Kind kind, std::uint64_t index);
  bool add_polygon();
  void add_triangle(Corner const& a, Corner const& b, Corner const& c);
  void start_mesh(std::string_view name);
  void open_mesh();
  void use_material(std::string_view name);
  void choose_face_set();
  std::size_t first_corner_of_diagonal(std::uint32_t const (&vertices)[4]) const;
  void cut_polygon(std::uint64_t line);
  void cut_late_polygons();

  char const* skip_blanks(char const* p) {
    while (*p == ' ' || *p == '\t') ++p;
    return *p == '\\' ? skip_continuation(p) : p;
  }
  char const* skip_continuation(char const* p);
  char const* end_line(char const* p);
  char const* skip_line(char const* p);
  char const* skip_comment(char const* p);
  char const* rest_of_line(char const* p, std::string& text);

  template <typename T>
  void make_room(std::vector<T>& values, std::size_t needed, std::size_t per_element, std::uint64_t bytes_per_element) {
    if (values.capacity() - values.size() < needed) [[unlikely]]
      grow(values, needed, per_element, bytes_per_element);
  }
  template <typename T>
  void grow(std::vector<T>& values, std::size_t needed, std::size_t per_element, std::uint64_t bytes_per_element);

  bool fail(std::string reason);
  bool fail_at(std::uint64_t line, std::string reason);
  bool fail_on_token(char const* what, char const* p);

  ObjSoup soup_;
  std::uint64_t const element_limit_;
  std::uint64_t line_ = 1;
  std::uint64_t count_[3] = {0, 0, 0};
  // The highest index met while its element was not there yet, and its line: an element may follow its use.
  std::uint64_t forward_[3] = {0, 0, 0};
  std::uint64_t forward_line_[3] = {0, 0, 0};
  bool polygon_is_forward_ = false;
  bool polygon_lacks_[3] = {false, false, false};  // by Kind: some corner does without

  std::vector<Corner> corners_;
  std::vector<std::uint32_t> polygon_vertices_;
  PolygonTriangulator triangulator_;
  std::vector<Polygon> late_polygons_;  // of more than three corners, some of which were not there yet

  std::string text_;
  std::string mesh_name_;
  bool mesh_is_open_ = false;
  bool mesh_has_[3] = {true, false, false};  // by Kind: some face so far has it
  ObjMesh* mesh_ = nullptr;

  std::unordered_map<std::string, std::uint32_t, NameHash, std::equal_to<>> material_numbers_;
  std::unordered_set<std::string> libraries_;
  std::uint32_t material_ = 0;
  bool material_changed_ = true;
  std::uint32_t face_set_ = 0;
  std::vector<std::uint32_t> set_of_material_, mesh_of_set_;  // by material: its set in that mesh (count from 1)

  std::uint64_t known_statements_ = 0;
  std::uint64_t unknown_statements_ = 0;
  std::uint64_t fanned_polygons_ = 0;
  std::uint64_t fanned_line_ = 0;

  char const* block_position_ = nullptr;
  char const* block_end_ = nullptr;
  std::uint64_t bytes_to_come_ = 0;

  std::string error_;
  std::uint64_t error_line_ = 0;
};

}  // namespace mirel::engine
