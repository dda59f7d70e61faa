#include "standalone/engine/obj/statement_parser.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "standalone/engine/wedge_mesh.h"
#include "standalone/text/decimal.h"

namespace mirel::engine {
namespace {

constexpr char const* kKindNames[] = {"vertex", "UV", "normal"};

// Statements that are part of the format and mean nothing to a polygon mesh.
constexpr std::string_view kPassedOver[] = {
    "g",     "s",        "l",        "p",    "vp",     "deg",    "bmat",       "step",      "cstype", "curv",
    "curv2", "surf",     "parm",     "trim", "hole",   "scrv",   "sp",         "end",       "con",    "mg",
    "bevel", "c_interp", "d_interp", "lod",  "maplib", "usemap", "shadow_obj", "trace_obj", "ctech",  "stech",
    "call",  "csh",      "bsp",      "bzp",  "cdc",    "cdp",    "res"};

// "f 1 1 1 1" and its line end give two.
constexpr std::uint64_t kBytesPerTriangle = 5;
constexpr std::size_t kRoomInAdvance = std::size_t{1} << 20;

bool is_line_end(char c) {
  return c == '\n' || c == '\r';
}
bool is_blank(char c) {
  return c == ' ' || c == '\t';
}
bool ends_token(char c) {
  return is_blank(c) || is_line_end(c) || c == '\\';
}

std::string quoted(char const* p, std::size_t length) {
  std::string text = "\"";
  for (std::size_t k = 0; k < std::min<std::size_t>(length, 40); ++k) {
    text += static_cast<unsigned char>(p[k]) < 0x20 || p[k] == 0x7F ? '?' : p[k];
  }
  return text + (length > 40 ? "...\"" : "\"");
}

std::size_t token_length(char const* p) {
  std::size_t length = 0;
  while (!ends_token(p[length])) ++length;
  return length;
}

// Asks for large pages: most of the time that writing a new array takes is spent in the system, page by page.
template <typename T>
void expect_to_fill(std::vector<T>& values) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kPage = std::uintptr_t{1} << 21;
  auto const begin = reinterpret_cast<std::uintptr_t>(values.data());
  std::uintptr_t const first = (begin + kPage - 1) / kPage * kPage;
  std::uintptr_t const last = (begin + values.capacity() * sizeof(T)) / kPage * kPage;
  // Where the system does not want to, nothing is lost.
  if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  static_cast<void>(values);
#endif
}

}  // namespace

bool StatementParser::fail(std::string reason) {
  return fail_at(line_, std::move(reason));
}

bool StatementParser::fail_at(std::uint64_t line, std::string reason) {
  error_ = std::move(reason);
  error_line_ = line;
  return false;
}

bool StatementParser::fail_on_token(char const* what, char const* p) {
  std::size_t const length = token_length(p);
  if (length == 0) return fail(std::string("missing ") + what);
  return fail(std::string("malformed ") + what + " " + quoted(p, length));
}

bool StatementParser::parse(char const* begin, char const* end, std::uint64_t bytes_to_come) {
  block_end_ = end;
  bytes_to_come_ = bytes_to_come;
  char const* p = begin;
  while (p < end) {
    block_position_ = p;
    if (!parse_statement(p)) return false;
  }
  return true;
}

char const* StatementParser::end_line(char const* p) {
  ++line_;
  return p[0] == '\r' && p[1] == '\n' ? p + 2 : p + 1;
}

char const* StatementParser::skip_continuation(char const* p) {
  while (*p == '\\' && is_line_end(p[1]) && p + 1 < block_end_) {
    p = end_line(p + 1);
    while (is_blank(*p)) ++p;
  }
  return p;
}

char const* StatementParser::skip_line(char const* p) {
  for (;;) {
    while (!is_line_end(*p) && *p != '\\') ++p;
    if (*p != '\\') return end_line(p);
    char const* const behind = skip_continuation(p);
    p = behind == p ? p + 1 : behind;
  }
}

char const* StatementParser::skip_comment(char const* p) {
  while (!is_line_end(*p)) ++p;
  return end_line(p);
}

// The text up to the line's end without the blanks around it.
char const* StatementParser::rest_of_line(char const* p, std::string& text) {
  text.clear();
  p = skip_blanks(p);
  while (!is_line_end(*p)) {
    if (*p == '\\' && is_line_end(p[1]) && p + 1 < block_end_) {
      p = skip_continuation(p);
      text += ' ';
    } else {
      text += *p++;
    }
  }
  while (!text.empty() && is_blank(text.back())) text.pop_back();
  return end_line(p);
}

bool StatementParser::parse_statement(char const*& p) {
  p = skip_blanks(p);
  switch (*p) {
    case '\n':
    case '\r':
      p = end_line(p);
      return true;
    case '#':
      p = skip_comment(p);
      return true;
    case 'v':
      if (is_blank(p[1])) return parse_coordinates<3, 3>(p += 1, kVertex, soup_.positions);
      if (p[1] == 't' && ends_token(p[2])) return parse_coordinates<2, 1>(p += 2, kUv, soup_.uvs);
      if (p[1] == 'n' && ends_token(p[2])) return parse_coordinates<3, 3>(p += 2, kNormal, soup_.normals);
      if (ends_token(p[1])) return parse_coordinates<3, 3>(p += 1, kVertex, soup_.positions);
      return parse_other(p);
    case 'f':
      if (p[1] == 'o' && ends_token(p[2])) return parse_face(p += 2);
      if (ends_token(p[1])) return parse_face(p += 1);
      return parse_other(p);
    default:
      return parse_other(p);
  }
}

bool StatementParser::parse_other(char const*& p) {
  std::string_view const keyword(p, token_length(p));
  char const* const behind = p + keyword.size();
  if (keyword == "o") {
    p = rest_of_line(behind, text_);
    start_mesh(text_);
  } else if (keyword == "usemtl") {
    p = rest_of_line(behind, text_);
    use_material(text_);
  } else if (keyword == "mtllib") {
    p = rest_of_line(behind, text_);
    if (libraries_.insert(text_).second) soup_.libraries.push_back(text_);
  } else if (std::find(std::begin(kPassedOver), std::end(kPassedOver), keyword) != std::end(kPassedOver)) {
    p = skip_line(behind);
  } else {
    // Control characters do not occur in text; 0x1A ends files from old systems.
    for (char const c : keyword) {
      if ((static_cast<unsigned char>(c) < 0x20 && c != 0x1A && c != '\f' && c != '\v') || c == 0x7F) {
        return fail("not OBJ text");
      }
    }
    if (keyword != "\x1A") ++unknown_statements_;
    p = skip_line(behind);
    return true;
  }
  ++known_statements_;
  return true;
}

// Coordinates grow to the number that the rest of the file can hold at most, once they are many: storage that is
// never touched costs address space only, while doubling would hold the old and the new array at once.
template <typename T>
void StatementParser::grow(std::vector<T>& values, std::size_t needed, std::size_t per_element,
                           std::uint64_t bytes_per_element) {
  if (values.size() * sizeof(T) >= kRoomInAdvance && bytes_to_come_ > 0) {
    std::uint64_t const bytes_left = bytes_to_come_ + static_cast<std::uint64_t>(block_end_ - block_position_);
    try {
      values.reserve(values.size() + needed + static_cast<std::size_t>(bytes_left / bytes_per_element) * per_element);
      expect_to_fill(values);
      return;
    } catch (std::exception const&) {
      // Not even address space for that much: grow by steps.
    }
  }
  values.reserve(std::max({values.size() * 2, values.size() + needed, std::size_t{64}}));
}

template <int width, int required>
bool StatementParser::parse_coordinates(char const*& p, Kind kind, std::vector<float>& values) {
  float read[width] = {};
  for (int k = 0; k < width; ++k) {
    p = skip_blanks(p);
    char const* const end = text::scan_float(p, read[k]);
    if (end == nullptr || !ends_token(*end)) {
      if (k >= required && (is_line_end(*p) || *p == '#')) break;
      return fail_on_token("number", p);
    }
    p = end;
  }
  if (count_[kind] >= element_limit_) {
    return fail("more than " + std::to_string(element_limit_) + " elements of one kind");
  }
  // The shortest lines: "v 0 0 0", "vt 0", "vn 0 0 0", each with its line end.
  make_room(values, width, width, kind == kVertex ? 8 : kind == kUv ? 5 : 9);
  values.insert(values.end(), read, read + width);
  ++count_[kind];
  ++known_statements_;
  p = is_line_end(*p) ? end_line(p) : skip_line(p);
  return true;
}

bool StatementParser::note_forward_index(Kind kind, std::uint64_t index) {
  if (index > element_limit_) {
    return fail(std::string(kKindNames[kind]) + " index " + std::to_string(index) + " is out of range");
  }
  polygon_is_forward_ = true;
  if (index > forward_[kind]) {
    forward_[kind] = index;
    forward_line_[kind] = line_;
  }
  return true;
}

bool StatementParser::parse_unusual_index(char const*& p, Kind kind, std::uint32_t& index) {
  char const* const token = p;
  bool const from_end = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  char const* const first = p;
  std::uint64_t value = 0;
  while (text::is_digit(*p)) value = value * 10 + static_cast<std::uint64_t>(*p++ - '0');
  if (p == first) return fail_on_token("face corner", token);
  if (p - first > 19) value = std::numeric_limits<std::uint64_t>::max();
  if (value == 0) return fail(std::string(kKindNames[kind]) + " index 0: indices start at 1");
  std::uint64_t const count = count_[kind];
  if (from_end) {
    if (value > count) {
      return fail(std::string(kKindNames[kind]) + " index " + quoted(token, static_cast<std::size_t>(p - token)) +
                  " is out of range: " + std::to_string(count) + " so far");
    }
    index = static_cast<std::uint32_t>(count - value);
    return true;
  }
  if (value > count && !note_forward_index(kind, value)) return false;
  index = static_cast<std::uint32_t>(value - 1);
  return true;
}

// Most lines: three or four corners that all have what the mesh's faces have so far ("1", "1/1", "1//1" or "1/1/1"),
// nothing else. False, and nothing done, for all other forms.
template <bool with_uvs, bool with_normals>
bool StatementParser::add_plain_face(char const*& p) {
  std::uint32_t indices[3][4] = {};  // by Kind
  char const* q = p;
  auto const read_index = [&](Kind kind, char before, std::size_t corner) {
    if (*q != before) return false;
    text::DigitRun const run = text::scan_digits(++q);
    q += run.length;
    indices[kind][corner] = run.value - 1;
    return run.value - 1 < count_[kind];
  };
  auto const read_corner = [&](std::size_t corner) {
    if (!read_index(kVertex, ' ', corner)) return false;
    if (with_uvs && !read_index(kUv, '/', corner)) return false;
    if (with_normals && !with_uvs && *q++ != '/') return false;
    return !with_normals || read_index(kNormal, '/', corner);
  };
  if (!read_corner(0) || !read_corner(1) || !read_corner(2)) return false;
  // Some programs end every face with a blank.
  bool const is_quad = *q == ' ' && text::is_digit(q[1]);
  if (is_quad && !read_corner(3)) return false;
  if (*q == ' ') ++q;
  if (*q == '\r' && q[1] == '\n') ++q;
  if (*q != '\n') return false;

  std::size_t const added = is_quad ? 2 : 1;
  auto const has_room = [&](std::vector<std::uint32_t> const& values, std::size_t needed) {
    return values.capacity() - values.size() >= needed;
  };
  std::size_t const face_count = mesh_->face_set_of.size();
  if (!has_room(mesh_->faces, added * 3) || !has_room(mesh_->face_set_of, added) ||
      face_count + added > element_limit_) {
    return false;
  }
  if (with_uvs && !has_room(mesh_->face_uvs, added * 3)) return false;
  if (with_normals && !has_room(mesh_->face_normals, added * 3)) return false;
  auto const append = [&](std::vector<std::uint32_t>& values, Kind kind) {
    auto const& of = indices[kind];
    values.insert(values.end(), of, of + 3);
    if (is_quad) values.insert(values.end(), {of[0], of[2], of[3]});
  };
  if (is_quad && first_corner_of_diagonal(indices[kVertex]) == 1) {
    for (auto& of : indices) std::rotate(of, of + 1, of + 4);
  }
  append(mesh_->faces, kVertex);
  if constexpr (with_uvs) append(mesh_->face_uvs, kUv);
  if constexpr (with_normals) append(mesh_->face_normals, kNormal);
  mesh_->face_set_of.push_back(face_set_);
  if (is_quad) mesh_->face_set_of.push_back(face_set_);
  ++known_statements_;
  ++line_;
  p = q + 1;
  return true;
}

bool StatementParser::add_plain_face(char const*& p) {
  if (!mesh_is_open_ || material_changed_) return false;
  if (mesh_has_[kUv]) return mesh_has_[kNormal] ? add_plain_face<true, true>(p) : add_plain_face<true, false>(p);
  return mesh_has_[kNormal] ? add_plain_face<false, true>(p) : add_plain_face<false, false>(p);
}

bool StatementParser::parse_face(char const*& p) {
  if (add_plain_face(p)) return true;
  corners_.clear();
  polygon_is_forward_ = false;
  bool lacks_uv = false;
  bool lacks_normal = false;
  auto const starts_index = [](char c) { return text::is_digit(c) || c == '-' || c == '+'; };
  for (;;) {
    p = skip_blanks(p);
    if (is_line_end(*p) || *p == '#') break;
    char const* const token = p;
    Corner corner = {{kNone, kNone, kNone}};
    if (!parse_index(p, kVertex, corner.of[kVertex])) return false;
    if (*p == '/') {
      ++p;
      if (starts_index(*p) && !parse_index(p, kUv, corner.of[kUv])) return false;
      if (*p == '/') {
        ++p;
        if (starts_index(*p) && !parse_index(p, kNormal, corner.of[kNormal])) return false;
      }
    }
    if (!ends_token(*p)) return fail_on_token("face corner", token);
    lacks_uv = lacks_uv || corner.of[kUv] == kNone;
    lacks_normal = lacks_normal || corner.of[kNormal] == kNone;
    corners_.push_back(corner);
  }
  polygon_lacks_[kUv] = lacks_uv;
  polygon_lacks_[kNormal] = lacks_normal;
  if (corners_.size() < 3) {
    return fail("a face with " + std::to_string(corners_.size()) + (corners_.size() == 1 ? " corner" : " corners"));
  }
  if (!add_polygon()) return false;
  ++known_statements_;
  p = *p == '#' ? skip_comment(p) : end_line(p);
  return true;
}

void StatementParser::start_mesh(std::string_view name) {
  mesh_name_ = name;
  mesh_is_open_ = false;
}

void StatementParser::open_mesh() {
  // Room that was taken in advance for the rest of the file goes back before the next mesh takes its own.
  if (mesh_ != nullptr) {
    for (auto* values : {&mesh_->faces, &mesh_->face_normals, &mesh_->face_uvs, &mesh_->face_set_of}) {
      values->shrink_to_fit();
    }
  }
  mesh_ = &soup_.meshes.emplace_back();
  mesh_->name = mesh_name_;
  soup_.materials_of_mesh.emplace_back();
  mesh_is_open_ = true;
  mesh_has_[kUv] = mesh_has_[kNormal] = false;
  material_changed_ = true;
}

void StatementParser::use_material(std::string_view name) {
  auto found = material_numbers_.find(name);
  if (found == material_numbers_.end()) {
    if (soup_.material_names.empty()) {
      soup_.material_names.emplace_back();
      material_numbers_.emplace("", 0U);
    }
    found = material_numbers_.emplace(name, static_cast<std::uint32_t>(soup_.material_names.size())).first;
    if (found->second == soup_.material_names.size()) soup_.material_names.emplace_back(name);
  }
  material_changed_ = material_changed_ || found->second != material_;
  material_ = found->second;
}

void StatementParser::choose_face_set() {
  if (soup_.material_names.empty()) use_material("");
  set_of_material_.resize(soup_.material_names.size(), 0);
  mesh_of_set_.resize(soup_.material_names.size(), 0);
  auto& materials = soup_.materials_of_mesh.back();
  std::uint32_t const mesh_number = static_cast<std::uint32_t>(soup_.meshes.size());
  if (mesh_of_set_[material_] != mesh_number) {
    mesh_of_set_[material_] = mesh_number;
    set_of_material_[material_] = static_cast<std::uint32_t>(materials.size());
    materials.push_back(material_);
  }
  face_set_ = set_of_material_[material_];
  material_changed_ = false;
}

void StatementParser::add_triangle(Corner const& a, Corner const& b, Corner const& c) {
  auto const append = [&](std::vector<std::uint32_t>& indices, Kind kind) {
    indices.insert(indices.end(), {a.of[kind], b.of[kind], c.of[kind]});
  };
  append(mesh_->faces, kVertex);
  if (mesh_has_[kUv]) append(mesh_->face_uvs, kUv);
  if (mesh_has_[kNormal]) append(mesh_->face_normals, kNormal);
  mesh_->face_set_of.push_back(face_set_);
}

bool StatementParser::add_polygon() {
  if (!mesh_is_open_) open_mesh();
  if (material_changed_) choose_face_set();
  std::size_t const count = corners_.size();
  std::size_t const face_count = mesh_->face_set_of.size();
  if (face_count + (count - 2) > element_limit_) {
    return fail("more than " + std::to_string(element_limit_) + " triangles in one mesh");
  }
  for (Kind const kind : {kUv, kNormal}) {
    if (polygon_lacks_[kind]) {
      // A face has an attribute at all its corners or at none.
      if (mesh_has_[kind]) {
        for (Corner& corner : corners_) corner.of[kind] = kNone;
      }
    } else if (!mesh_has_[kind]) {
      mesh_has_[kind] = true;
      (kind == kUv ? mesh_->face_uvs : mesh_->face_normals).assign(face_count * 3, kNone);
    }
  }
  std::size_t const added = count - 2;
  make_room(mesh_->faces, added * 3, 3, kBytesPerTriangle);
  if (mesh_has_[kUv]) make_room(mesh_->face_uvs, added * 3, 3, kBytesPerTriangle);
  if (mesh_has_[kNormal]) make_room(mesh_->face_normals, added * 3, 3, kBytesPerTriangle);
  make_room(mesh_->face_set_of, added, 1, kBytesPerTriangle);

  if (count == 3) {
    add_triangle(corners_[0], corners_[1], corners_[2]);
  } else if (polygon_is_forward_) {
    late_polygons_.push_back({soup_.meshes.size() - 1, face_count, count, line_});
    for (std::size_t k = 2; k < count; ++k) add_triangle(corners_[0], corners_[k - 1], corners_[k]);
  } else if (count == 4) {
    std::uint32_t vertices[4];
    for (std::size_t k = 0; k < 4; ++k) vertices[k] = corners_[k].of[kVertex];
    std::size_t const first = first_corner_of_diagonal(vertices);
    add_triangle(corners_[first], corners_[first + 1], corners_[first + 2]);
    add_triangle(corners_[first], corners_[first + 2], corners_[(first + 3) % 4]);
  } else {
    cut_polygon(line_);
    std::span<std::uint32_t const> const triangles = triangulator_.triangles();
    for (std::size_t k = 0; k < triangles.size(); k += 3) {
      add_triangle(corners_[triangles[k]], corners_[triangles[k + 1]], corners_[triangles[k + 2]]);
    }
  }
  return true;
}

// The two triangles on a diagonal do not overlap where they face the same way; 0 unless only the other diagonal
// gives that.
std::size_t StatementParser::first_corner_of_diagonal(std::uint32_t const (&vertices)[4]) const {
  auto const faces_same_way = [&](std::size_t first) {
    double edge[3][3];
    float const* const origin = &soup_.positions[std::size_t{vertices[first]} * 3];
    for (std::size_t k = 0; k < 3; ++k) {
      float const* const position = &soup_.positions[std::size_t{vertices[(first + k + 1) % 4]} * 3];
      for (int axis = 0; axis < 3; ++axis) {
        edge[k][axis] = static_cast<double>(position[axis]) - static_cast<double>(origin[axis]);
      }
    }
    double agreement = 0;
    for (int axis = 0; axis < 3; ++axis) {
      int const u = (axis + 1) % 3;
      int const v = (axis + 2) % 3;
      agreement +=
          (edge[0][u] * edge[1][v] - edge[0][v] * edge[1][u]) * (edge[1][u] * edge[2][v] - edge[1][v] * edge[2][u]);
    }
    return agreement > 0;
  };
  return !faces_same_way(0) && faces_same_way(1) ? 1 : 0;
}

void StatementParser::cut_polygon(std::uint64_t line) {
  polygon_vertices_.clear();
  for (Corner const& corner : corners_) polygon_vertices_.push_back(corner.of[kVertex]);
  if (triangulator_.cut(soup_.positions.data(), polygon_vertices_)) return;
  if (fanned_polygons_++ == 0) fanned_line_ = line;
}

// Polygons whose vertices came behind them were taken as fans, from which their corners can be had again.
void StatementParser::cut_late_polygons() {
  for (Polygon const& polygon : late_polygons_) {
    ObjMesh& mesh = soup_.meshes[polygon.mesh];
    std::vector<std::uint32_t>* const indices[3] = {&mesh.faces, &mesh.face_uvs, &mesh.face_normals};
    std::size_t const begin = polygon.first_face * 3;
    corners_.assign(polygon.corners, Corner{{kNone, kNone, kNone}});
    for (Kind const kind : {kVertex, kUv, kNormal}) {
      if (indices[kind]->empty()) continue;
      std::uint32_t const* const fan = indices[kind]->data() + begin;
      corners_[0].of[kind] = fan[0];
      corners_[1].of[kind] = fan[1];
      for (std::size_t k = 2; k < polygon.corners; ++k) corners_[k].of[kind] = fan[(k - 2) * 3 + 2];
    }
    cut_polygon(polygon.line);
    std::span<std::uint32_t const> const triangles = triangulator_.triangles();
    for (Kind const kind : {kVertex, kUv, kNormal}) {
      if (indices[kind]->empty()) continue;
      for (std::size_t k = 0; k < triangles.size(); ++k) {
        (*indices[kind])[begin + k] = corners_[triangles[k]].of[kind];
      }
    }
  }
}

bool StatementParser::finish() {
  for (Kind const kind : {kVertex, kUv, kNormal}) {
    if (forward_[kind] <= count_[kind]) continue;
    return fail_at(forward_line_[kind], std::string(kKindNames[kind]) + " index " + std::to_string(forward_[kind]) +
                                            " is out of range: the file has " + std::to_string(count_[kind]));
  }
  if (known_statements_ == 0 && unknown_statements_ > 0) {
    return fail_at(0, "not OBJ text: none of its lines is a statement of the format");
  }
  cut_late_polygons();
  if (fanned_polygons_ > 0) {
    soup_.warnings.push_back("line " + std::to_string(fanned_line_) + ": " + std::to_string(fanned_polygons_) +
                             " polygons too tangled to be cut well; their triangles may overlap");
  }
  return true;
}

}  // namespace mirel::engine
