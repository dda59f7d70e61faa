#include "standalone/engine/ladder/ladder.h"

#include <algorithm>
#include <array>
#include <limits>

#include "standalone/engine/ladder/builder.h"
#include "standalone/engine/ladder/records.h"

namespace mirel::engine {

namespace {

// Numbers given out in order of first asking. Starting again costs nothing but a new epoch.
class FirstUse {
 public:
  void start(std::size_t size) {
    if (epochs_.size() < size) {
      numbers_.resize(size);
      epochs_.resize(size, 0);  // last: its size tells that there is room
    }
    if (++epoch_ == 0) {
      std::fill(epochs_.begin(), epochs_.end(), 0U);
      epoch_ = 1;
    }
    count_ = 0;
  }
  // Whether this is the first time that `item` is asked for; `number` becomes its number either way.
  bool number(std::uint32_t item, std::uint32_t& number) {
    bool const first = epochs_[item] != epoch_;
    if (first) {
      epochs_[item] = epoch_;
      numbers_[item] = count_++;
    }
    number = numbers_[item];
    return first;
  }
  std::uint32_t count() const { return count_; }

 private:
  std::vector<std::uint32_t> epochs_;
  std::vector<std::uint32_t> numbers_;
  std::uint32_t epoch_ = 0;
  std::uint32_t count_ = 0;
};

// Below this number of faces any step is read from the last level.
constexpr std::uint32_t kSmallestLevel = 256;

// The faces that are alive at a step, in the order of step 0, with their corners as nodes. Levels are made where steps
// are asked for, at most one for each halving of the faces, so that the way from the nearest level is no longer than
// what is read.
struct Level {
  std::uint32_t step = 0;
  std::uint32_t node_count = 0;           // nodes that exist at this step
  std::vector<std::uint32_t> faces;       // ladder-wide face numbers, rising; empty at level 0: all faces
  std::vector<std::uint32_t> corners;     // faces x 3 nodes; empty at level 0: the wedges of the meshes
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
  FirstUse vertices;
  FirstUse positions;

  std::uint32_t step_for_face_count(std::uint32_t faces) const;
  void resolve(std::uint32_t step);
  void resolve_from(std::size_t level, std::uint32_t step);
  void make_level(std::size_t from, std::uint32_t step);
  // Calls visit(face, corners) for the faces of a mesh that are alive at the resolved step; corners as nodes of it.
  template <typename Visit>
  void for_each_face(std::size_t mesh, Visit const& visit) const;
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

template <typename Visit>
void Ladder::Data::for_each_face(std::size_t mesh, Visit const& visit) const {
  Level const& level = levels[resolved_level];
  std::vector<std::uint32_t> const& wedges = records.meshes[mesh]->faces;
  std::uint32_t const node_count = records.node_count_at[resolved_step];
  bool const all = level.faces.empty();
  for (std::uint32_t i = level.mesh_begin[mesh]; i < level.mesh_begin[mesh + 1]; ++i) {
    std::uint32_t const face = all ? i : level.faces[i];
    if (records.face_death[face] <= resolved_step) continue;
    std::array<std::uint32_t, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const node =
          all ? records.wedge_base[mesh] + wedges[std::size_t{3} * (face - records.face_base[mesh]) + k]
              : level.corners[std::size_t{3} * i + k];
      if (node >= level.node_count) {
        corners[k] = resolved[node - level.node_count];
      } else {
        std::uint32_t const parent = records.parent[node];
        corners[k] = parent < node_count ? resolved[parent - level.node_count] : node;
      }
    }
    visit(face, corners);
  }
}

void Ladder::Data::make_level(std::size_t from, std::uint32_t step) {
  resolve_from(from, step);
  Level level;
  level.step = step;
  level.node_count = records.node_count_at[step];
  level.faces.reserve(records.face_count_at[step]);
  level.corners.reserve(std::size_t{records.face_count_at[step]} * 3);
  level.mesh_begin.push_back(0);
  for (std::size_t mesh = 0; mesh < records.meshes.size(); ++mesh) {
    for_each_face(mesh, [&level](std::uint32_t face, std::array<std::uint32_t, 3> const& corners) {
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
  records.parent.shrink_to_fit();
  records.attributes.shrink_to_fit();
  records.created.shrink_to_fit();
  records.created_position_id.shrink_to_fit();
  records.face_count_at.shrink_to_fit();
  records.node_count_at.shrink_to_fit();
  records.deviation_at.shrink_to_fit();
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
  std::uint32_t const node_count = records.node_count_at[step];
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
  data_->vertices.start(node_count);
  data_->positions.start(node_count);

  auto const add_vertex = [&](std::uint32_t node) {
    bool const is_leaf = node < leaf_count;
    std::uint32_t const created = node - leaf_count;
    std::uint32_t const leaf = node - wedge_base;
    float const* const p =
        is_leaf ? original.vertices.data() + std::size_t{3} * leaf : records.created[created].position.data();
    out.vertices.insert(out.vertices.end(), p, p + 3);
    std::uint32_t const lowest = is_leaf ? original.position_of[leaf] : records.created[created].lowest;
    std::uint32_t position_id = node;
    if (records.attributed) {
      // Position numbers of leaves are those of their mesh, moved behind the wedges of earlier meshes.
      position_id =
          is_leaf ? wedge_base + original.position_of[leaf] : records.created_position_id[created] + leaf_count;
      float const* const values = records.attributes.data() + std::size_t{node} * records.layout.stride;
      if (with_uvs)
        out.uvs.insert(out.uvs.end(), values + records.layout.uv_offset, values + records.layout.uv_offset + 2);
      if (with_normals) {
        out.normals.insert(out.normals.end(), values + records.layout.normal_offset,
                           values + records.layout.normal_offset + 3);
      }
    }
    std::uint32_t position = 0;
    if (data_->positions.number(position_id, position)) out.lowest_position.push_back(lowest);
    out.position_of.push_back(position);
  };

  std::size_t set = 0;
  data_->for_each_face(mesh, [&](std::uint32_t face, std::array<std::uint32_t, 3> const& corners) {
    while (face - face_base >= original.set_begin[set + 1]) out.set_begin[++set] = out.face_count();
    for (std::uint32_t const node : corners) {
      std::uint32_t vertex = 0;
      if (data_->vertices.number(node, vertex)) add_vertex(node);
      out.faces.push_back(vertex);
    }
  });
  while (set + 1 < out.set_begin.size()) out.set_begin[++set] = out.face_count();
  out.position_count = data_->positions.count();
}

}  // namespace mirel::engine
