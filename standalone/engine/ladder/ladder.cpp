#include "standalone/engine/ladder/ladder.h"

#include <algorithm>
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

}  // namespace

struct Ladder::Data {
  Records records;
  // For one step, where every node made since its level ends up: shared by the meshes read at that step.
  std::uint32_t resolved_step = 0;
  Level const* resolved_level = nullptr;
  std::vector<std::uint32_t> resolved;
  FirstUse vertices;
  FirstUse positions;

  void resolve(std::uint32_t step);
  std::uint32_t node_at_step(std::uint32_t node, std::uint32_t node_count) const {
    if (node >= resolved_level->node_count) return resolved[node - resolved_level->node_count];
    std::uint32_t const parent = records.parent[node];
    return parent < node_count ? resolved[parent - resolved_level->node_count] : node;
  }
};

// Parents are always made after their children: going down from the newest node, each finds its parent resolved.
void Ladder::Data::resolve(std::uint32_t step) {
  if (resolved_level != nullptr && resolved_step == step) return;
  auto const after = std::upper_bound(records.levels.begin(), records.levels.end(), step,
                                      [](std::uint32_t s, Level const& level) { return s < level.step; });
  std::uint32_t const first = (after - 1)->node_count;
  std::uint32_t const count = records.node_count_at[step];
  if (resolved.size() < count - first) resolved.resize(count - first);
  resolved_level = &*(after - 1);
  resolved_step = step;
  for (std::uint32_t node = count; node-- > first;) {
    std::uint32_t const parent = records.parent[node];
    resolved[node - first] = parent < count ? resolved[parent - first] : node;
  }
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
  std::vector<std::uint32_t> const& counts = data_->records.face_count_at;
  auto const found = std::partition_point(counts.begin(), counts.end(), [faces](std::uint32_t n) { return n > faces; });
  return std::min(static_cast<std::uint32_t>(found - counts.begin()), step_count());
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
  Level const& level = *data_->resolved_level;
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
  for (std::uint32_t i = level.mesh_begin[mesh]; i < level.mesh_begin[mesh + 1]; ++i) {
    std::uint32_t const face = level.faces.empty() ? i : level.faces[i];
    if (records.face_death[face] <= step) continue;
    while (face - face_base >= original.set_begin[set + 1]) out.set_begin[++set] = out.face_count();
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const corner = level.corners.empty()
                                       ? wedge_base + original.faces[std::size_t{3} * (face - face_base) + k]
                                       : level.corners[std::size_t{3} * i + k];
      std::uint32_t const node = data_->node_at_step(corner, node_count);
      std::uint32_t vertex = 0;
      if (data_->vertices.number(node, vertex)) add_vertex(node);
      out.faces.push_back(vertex);
    }
  }
  while (set + 1 < out.set_begin.size()) out.set_begin[++set] = out.face_count();
  out.position_count = data_->positions.count();
}

}  // namespace mirel::engine
