#include "standalone/engine/ladder/ladder.h"

#include <algorithm>
#include <array>
#include <limits>

#include "standalone/engine/ladder/builder.h"
#include "standalone/engine/ladder/records.h"

namespace mirel::engine {

namespace {

// Numbers for items, forgotten all at once. Starting again costs nothing but a new epoch.
class Numbers {
 public:
  void start(std::size_t size) {
    if (entries_.size() < size) entries_.resize(size, {0, 0});
    if (++epoch_ == 0) {
      std::fill(entries_.begin(), entries_.end(), Entry{0, 0});
      epoch_ = 1;
    }
  }
  bool has(std::uint32_t item) const { return entries_[item].epoch == epoch_; }
  std::uint32_t of(std::uint32_t item) const { return entries_[item].number; }
  void set(std::uint32_t item, std::uint32_t number) { entries_[item] = {epoch_, number}; }
  // Whether this is the first time that `item` is asked for; if so its number becomes `next`.
  bool is_first(std::uint32_t item, std::uint32_t next) {
    if (has(item)) return false;
    set(item, next);
    return true;
  }

 private:
  struct Entry {
    std::uint32_t epoch;
    std::uint32_t number;
  };
  std::vector<Entry> entries_;
  std::uint32_t epoch_ = 0;
};

// Gives back what room a list has left, where that is worth a copy of the list.
template <typename Value>
void give_back(std::vector<Value>& list) {
  if (list.size() < list.capacity() / 8 * 7) list.shrink_to_fit();
}

// Below this number of faces any step is read from the last level.
constexpr std::uint32_t kSmallestLevel = 256;

// The faces that are alive at a step, in the order of step 0. Their nodes are numbered by first use: corners name these
// numbers, so that a node is looked up once for all of its corners, which lie side by side. Levels are made where steps
// are asked for, at most one for each halving of the faces, so that the way from the nearest level is no longer than
// what is read.
struct Level {
  std::uint32_t step = 0;
  std::uint32_t node_count = 0;           // nodes that exist at this step
  std::vector<std::uint32_t> faces;       // ladder-wide face numbers, rising; empty at level 0: all faces
  std::vector<std::uint32_t> corners;     // faces x 3 places in `nodes`; empty at level 0: the wedges of the meshes
  std::vector<std::uint32_t> nodes;       // empty at level 0: the leaves
  std::vector<std::uint32_t> mesh_begin;  // mesh_count + 1: where each mesh's faces start in `faces`
};

}  // namespace

struct Ladder::Data {
  Records records;
  std::vector<Level> levels;  // by rising step
  // For one step, where every node made since its level ends up: shared by the meshes read at that step.
  std::uint32_t resolved_step = 0;
  std::size_t resolved_level = 0;
  bool is_resolved = false;
  std::vector<std::uint32_t> resolved;
  Numbers corner_vertices;  // of places in the level's `nodes`: vertices of what is read
  Numbers vertices;         // of nodes
  Numbers positions;

  std::uint32_t step_for_face_count(std::uint32_t faces) const;
  void resolve(std::uint32_t step);
  void resolve_from(std::size_t level, std::uint32_t step);
  void make_level(std::size_t from, std::uint32_t step);
  // What place `corner` of the resolved level has become at the resolved step.
  std::uint32_t node_of(std::uint32_t corner) const;
  // Calls visit(face, corners) for the faces of a mesh that are alive at the resolved step, with the three numbers of
  // their vertices; before that add(node) for each vertex that comes up for the first time, in the order of its number.
  // `count`: of the vertices so far. Vertices are told apart since the last `start_vertices`.
  template <typename Add, typename Visit>
  void for_each_face(std::size_t mesh, std::uint32_t& count, Add const& add, Visit const& visit);
  void start_vertices();
};

std::uint32_t Ladder::Data::step_for_face_count(std::uint32_t faces) const {
  std::vector<std::uint32_t> const& counts = records.face_count_at;
  auto const found = std::partition_point(counts.begin(), counts.end(), [faces](std::uint32_t n) { return n > faces; });
  return std::min(static_cast<std::uint32_t>(found - counts.begin()), records.last_step());
}

// Parents are always made after their children: going down from the newest node, each finds its parent resolved.
void Ladder::Data::resolve_from(std::size_t level, std::uint32_t step) {
  std::uint32_t const first = levels[level].node_count;
  std::uint32_t const count = records.node_count_at[step];
  if (resolved.size() < count - first) resolved.resize(count - first);
  resolved_level = level;
  resolved_step = step;
  is_resolved = true;
  for (std::uint32_t node = count; node-- > first;) {
    std::uint32_t const parent = records.parent[node];
    resolved[node - first] = parent < count ? resolved[parent - first] : node;
  }
}

std::uint32_t Ladder::Data::node_of(std::uint32_t corner) const {
  Level const& level = levels[resolved_level];
  std::uint32_t const node = level.nodes.empty() ? corner : level.nodes[corner];
  if (node >= level.node_count) return resolved[node - level.node_count];
  std::uint32_t const parent = records.parent[node];
  return parent < records.node_count_at[resolved_step] ? resolved[parent - level.node_count] : node;
}

void Ladder::Data::start_vertices() {
  Level const& level = levels[resolved_level];
  corner_vertices.start(level.nodes.empty() ? records.leaf_count() : level.nodes.size());
  vertices.start(records.node_count_at[resolved_step]);
}

template <typename Add, typename Visit>
void Ladder::Data::for_each_face(std::size_t mesh, std::uint32_t& count, Add const& add, Visit const& visit) {
  Level const& level = levels[resolved_level];
  std::vector<std::uint32_t> const& wedges = records.meshes[mesh]->faces;
  bool const all = level.faces.empty();
  for (std::uint32_t i = level.mesh_begin[mesh]; i < level.mesh_begin[mesh + 1]; ++i) {
    std::uint32_t const face = all ? i : level.faces[i];
    if (records.face_death[face] <= resolved_step) continue;
    std::array<std::uint32_t, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const corner =
          all ? records.wedge_base[mesh] + wedges[std::size_t{3} * (face - records.face_base[mesh]) + k]
              : level.corners[std::size_t{3} * i + k];
      if (!corner_vertices.has(corner)) {
        std::uint32_t const node = node_of(corner);
        if (vertices.is_first(node, count)) {
          ++count;
          add(node);
        }
        corner_vertices.set(corner, vertices.of(node));
      }
      corners[k] = corner_vertices.of(corner);
    }
    visit(face, corners);
  }
}

void Ladder::Data::make_level(std::size_t from, std::uint32_t step) {
  resolve_from(from, step);
  start_vertices();
  Level level;
  level.step = step;
  level.node_count = records.node_count_at[step];
  level.faces.reserve(records.face_count_at[step]);
  level.corners.reserve(std::size_t{records.face_count_at[step]} * 3);
  level.mesh_begin.push_back(0);
  std::uint32_t count = 0;
  for (std::size_t mesh = 0; mesh < records.meshes.size(); ++mesh) {
    for_each_face(
        mesh, count, [&level](std::uint32_t node) { level.nodes.push_back(node); },
        [&level](std::uint32_t face, std::array<std::uint32_t, 3> const& corners) {
          level.faces.push_back(face);
          level.corners.insert(level.corners.end(), corners.begin(), corners.end());
        });
    level.mesh_begin.push_back(static_cast<std::uint32_t>(level.faces.size()));
  }
  is_resolved = false;
  levels.insert(levels.begin() + static_cast<std::ptrdiff_t>(from) + 1, std::move(level));
}

void Ladder::Data::resolve(std::uint32_t step) {
  if (is_resolved && resolved_step == step) return;
  auto const nearest = [this](std::uint32_t at) {
    auto const after = std::upper_bound(levels.begin(), levels.end(), at,
                                        [](std::uint32_t s, Level const& level) { return s < level.step; });
    return static_cast<std::size_t>(after - levels.begin()) - 1;
  };
  std::uint32_t const wanted = std::max(records.face_count_at[step], kSmallestLevel);
  std::uint32_t faces = records.face_count();
  while (faces / 2 >= wanted) faces /= 2;
  std::uint32_t const level_step = step_for_face_count(faces);
  std::size_t level = nearest(step);
  if (levels[level].step < level_step && level_step <= step) {
    make_level(level, level_step);
    ++level;
  }
  resolve_from(level, step);
}

std::unique_ptr<Ladder> Ladder::build(std::span<WedgeMesh const* const> meshes, LadderOptions const& options) {
  auto data = std::make_unique<Data>();
  {
    LadderBuilder builder(meshes, options);
    data->records = builder.build();
  }
  Records& records = data->records;
  give_back(records.parent);
  give_back(records.attributes);
  give_back(records.created);
  give_back(records.created_position_id);
  give_back(records.face_count_at);
  give_back(records.node_count_at);
  give_back(records.deviation_at);
  Level full;
  full.node_count = records.leaf_count();
  full.mesh_begin = records.face_base;
  data->levels.push_back(std::move(full));
  return std::unique_ptr<Ladder>(new Ladder(std::move(data)));
}

Ladder::Ladder(std::unique_ptr<Data> data) : data_(std::move(data)) {}
Ladder::~Ladder() = default;

std::uint32_t Ladder::mesh_count() const {
  return static_cast<std::uint32_t>(data_->records.meshes.size());
}

std::uint32_t Ladder::step_count() const {
  return data_->records.last_step();
}

std::uint32_t Ladder::face_count(std::uint32_t step) const {
  return data_->records.face_count_at[std::min(step, step_count())];
}

std::uint32_t Ladder::step_for_face_count(std::uint32_t faces) const {
  return data_->step_for_face_count(faces);
}

double Ladder::deviation_bound(std::uint32_t step) const {
  std::uint32_t const at = std::min(step, step_count());
  if (at == 0) return 0;
  std::vector<float> const& bounds = data_->records.deviation_at;
  return bounds.empty() ? std::numeric_limits<double>::quiet_NaN() : double{bounds[at]};
}

LadderEnd const& Ladder::end() const {
  return data_->records.end;
}

void Ladder::read(std::uint32_t mesh, std::uint32_t step, WedgeMesh& out) {
  Records const& records = data_->records;
  WedgeMesh const& original = *records.meshes[mesh];
  step = std::min(step, step_count());
  if (step == 0) {
    out = original;
    return;
  }
  data_->resolve(step);
  std::uint32_t const leaf_count = records.leaf_count();
  std::uint32_t const wedge_base = records.wedge_base[mesh];
  std::uint32_t const face_base = records.face_base[mesh];
  bool const with_uvs = !original.uvs.empty();
  bool const with_normals = !original.normals.empty();

  out.vertices.clear();
  out.normals.clear();
  out.uvs.clear();
  out.position_of.clear();
  out.faces.clear();
  out.lowest_position.clear();
  out.set_begin.assign(original.set_begin.size(), 0);
  data_->start_vertices();
  // Without attributes a vertex is a position.
  if (records.attributed) data_->positions.start(records.node_count_at[step]);
  Level const& level = data_->levels[data_->resolved_level];
  std::uint32_t const most = std::min(records.face_count_at[step], level.mesh_begin[mesh + 1] - level.mesh_begin[mesh]);
  out.faces.reserve(std::size_t{3} * most);

  auto const add_vertex = [&](std::uint32_t node) {
    bool const is_leaf = node < leaf_count;
    std::uint32_t const created = node - leaf_count;
    std::uint32_t const leaf = node - wedge_base;
    float const* const p =
        is_leaf ? original.vertices.data() + std::size_t{3} * leaf : records.created[created].position.data();
    out.vertices.insert(out.vertices.end(), p, p + 3);
    std::uint32_t const lowest = is_leaf ? original.position_of[leaf] : records.created[created].lowest;
    if (!records.attributed) {
      out.position_of.push_back(static_cast<std::uint32_t>(out.position_of.size()));
      out.lowest_position.push_back(lowest);
      return;
    }
    // Position numbers of leaves are those of their mesh, moved behind the wedges of earlier meshes.
    std::uint32_t const position_id =
        is_leaf ? wedge_base + original.position_of[leaf] : records.created_position_id[created] + leaf_count;
    float const* const values = records.attributes.data() + std::size_t{node} * records.layout.stride;
    if (with_uvs) {
      out.uvs.insert(out.uvs.end(), values + records.layout.uv_offset, values + records.layout.uv_offset + 2);
    }
    if (with_normals) {
      out.normals.insert(out.normals.end(), values + records.layout.normal_offset,
                         values + records.layout.normal_offset + 3);
    }
    if (data_->positions.is_first(position_id, static_cast<std::uint32_t>(out.lowest_position.size()))) {
      out.lowest_position.push_back(lowest);
    }
    out.position_of.push_back(data_->positions.of(position_id));
  };

  std::size_t set = 0;
  std::uint32_t count = 0;
  data_->for_each_face(mesh, count, add_vertex, [&](std::uint32_t face, std::array<std::uint32_t, 3> const& corners) {
    while (face - face_base >= original.set_begin[set + 1]) out.set_begin[++set] = out.face_count();
    out.faces.insert(out.faces.end(), corners.begin(), corners.end());
  });
  while (set + 1 < out.set_begin.size()) out.set_begin[++set] = out.face_count();
  out.position_count = static_cast<std::uint32_t>(out.lowest_position.size());
}

}  // namespace mirel::engine
