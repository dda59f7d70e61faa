// The mesh under reduction: one cache line per vertex and, for each, its star: the triangles around it with both
// other corners, so that neighbours, normals and link tests need no other memory.
//
// A vertex here is a position; attributes hang on the corners of faces (see wedge_attributes.h). Coordinates are
// relative to the mesh's box centre and scaled so that the largest mesh spans about one unit.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <unordered_map>
#include <vector>

#include "standalone/engine/ladder/bucket_queue.h"
#include "standalone/engine/ladder/vec3.h"

namespace mirel::engine {

struct StarKernels;

struct StarEntry {
  std::uint32_t next;         // the face's corner after this vertex
  std::uint32_t previous;     // the face's corner before this vertex
  std::uint32_t face_corner;  // face << 2 | which of the face's corners this vertex is

  std::uint32_t face() const { return face_corner >> 2; }
  std::uint32_t corner() const { return face_corner & 3U; }
};

struct alignas(64) Vertex {
  // The first twelve floats are loaded as three vectors of four in the evaluation.
  float x, y, z;
  float quadric[6];  // xx xy xz yy yz zz, relative to the vertex itself: no linear and no constant part
  float normal[3];   // sum of the star's cross products
  std::uint32_t star_begin;
  std::uint32_t star_count;
  BucketQueue::Bucket bucket;
  std::uint8_t flags;
  std::uint8_t slack;  // entries that the star's rows could take beyond star_count, at most 255
  float error;         // the key of the collapse that made this vertex

  Vec3 position() const { return {x, y, z}; }
  void set_position(Vec3 p) {
    x = p.x;
    y = p.y;
    z = p.z;
  }
};
static_assert(sizeof(Vertex) == 64);

enum VertexFlag : std::uint8_t {
  kDead = 1,
  kIrregular = 2,  // has a boundary, non-manifold, seam or set-border edge: its sums are made anew, never updated
  kBoundary = 4,   // has an edge with one face
  kLocked = 8,     // neither moves nor goes
  kUrgent = 16,    // a corner of a face without area: taken when it comes up, whatever its key has become
  kOneWedge = 64,  // all faces use one wedge here: its attributes stand beside the vertex
  kVisited = 32,   // scratch of walks over components
  kFresh = 128,    // nothing that its edges cost has changed since the candidates at hand were evaluated
};

class Stars {
 public:
  // Makes the stars of `vertex_count` vertices from triangles of vertex indices. `faces`: the numbers of the triangles,
  // where these are not their places.
  void build(std::uint32_t vertex_count, std::span<std::uint32_t const> triangles,
             std::span<std::uint32_t const> faces = {});

  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(vertices_.size()); }
  Vertex& vertex(std::uint32_t v) { return vertices_[v]; }
  Vertex const& vertex(std::uint32_t v) const { return vertices_[v]; }
  std::span<StarEntry> star(std::uint32_t v) {
    return {entries_.get() + vertices_[v].star_begin, vertices_[v].star_count};
  }
  std::span<StarEntry const> star(std::uint32_t v) const {
    return {entries_.get() + vertices_[v].star_begin, vertices_[v].star_count};
  }
  Vertex* vertices() { return vertices_.data(); }
  Vertex const* vertices() const { return vertices_.data(); }
  StarEntry* entries() { return entries_.get(); }
  StarEntry const* entries() const { return entries_.get(); }

  // A star has whole rows of so many entries to itself, each on two lines of the cache and no vector across both. What
  // stands behind the last entry of its last row names vertices that there are, or were.
  static constexpr std::size_t kRow = 8;
  // Entries that are looked at together.
  static constexpr std::size_t kBlock = 4;

  // From so many faces on a vertex is a hub: the places of its entries are kept, so that what happens beside it does
  // not cost a walk through its star.
  static constexpr std::uint32_t kHub = 512;
  bool is_hub(std::uint32_t v) const { return vertices_[v].star_count >= kHub; }

  // Begins to bring the star of v to the processor, or most of it where it is large.
  void fetch(std::uint32_t v) const {
    // Fetching is no effect to g++: without one, calls of functions that only fetch would be left out.
    asm volatile("");
    StarEntry const* const first = entries_.get() + vertices_[v].star_begin;
    __builtin_prefetch(first);
    __builtin_prefetch(first + kRow - 1);
  }
  // Removes the entry of `face` from the star of v.
  void remove(std::uint32_t v, std::uint32_t face);
  // Puts `to` for `from` wherever it stands in the star of v.
  void rename(std::uint32_t v, std::uint32_t from, std::uint32_t to);
  // The same in the entry of one face.
  void rename(std::uint32_t v, std::uint32_t face, std::uint32_t from, std::uint32_t to);
  // Gives v a new star. `entries` must not point into the store. May move every star.
  void assign(std::uint32_t v, std::span<StarEntry const> entries);
  // Gives the vertices that are `live`, in the order of their old numbers, the numbers from 0 on, and puts their stars
  // in that order. `numbers`: the new ones by the old. A dead vertex comes behind them: it stands for all others.
  void renumber(std::span<std::uint32_t const> numbers, std::span<std::uint32_t const> live);
  // Forgets the star of v.
  void clear(std::uint32_t v) {
    vertices_[v].star_count = 0;
    vertices_[v].slack = 0;
  }

 private:
  void compact();
  void grow(std::size_t capacity);
  void index_hub(std::uint32_t v);
  std::size_t place_of(std::uint32_t v, std::uint32_t face) const;

  StarKernels const* kernels_ = nullptr;
  std::vector<Vertex> vertices_;
  struct FreeAligned {
    void operator()(StarEntry* entries) const { ::operator delete[](entries, kLine); }
  };
  using Store = std::unique_ptr<StarEntry[], FreeAligned>;
  static constexpr std::align_val_t kLine{64};
  // Not cleared.
  static Store allocate(std::size_t capacity);

  Store entries_;
  std::size_t capacity_ = 0;
  // Hub and face to place in the hub's star. Entries of what is a hub no longer stay, and are never asked for.
  std::unordered_map<std::uint64_t, std::uint32_t> hub_places_;
  std::size_t used_ = 0;  // entries before this place are or were in use
};

}  // namespace mirel::engine
