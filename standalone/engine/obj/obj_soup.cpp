#include "standalone/engine/obj/obj_soup.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {
namespace {

// One table for all meshes and kinds of coordinates: between two uses every entry is kNone again, and only the
// entries that were used are put back, so that thousands of small meshes in a large file stay cheap.
class Renumbering {
 public:
  // Makes `indices` count from 0 over the elements in use and returns those elements in ascending order.
  std::vector<std::uint32_t> const& compact(std::vector<std::uint32_t>& indices, std::size_t element_count) {
    if (new_of_.size() < element_count) new_of_.resize(element_count, kNone);
    used_.clear();
    std::uint32_t lowest = kNone;
    std::uint32_t highest = 0;
    for (std::uint32_t const index : indices) {
      if (index == kNone || new_of_[index] != kNone) continue;
      new_of_[index] = 0;
      used_.push_back(index);
      lowest = std::min(lowest, index);
      highest = std::max(highest, index);
    }
    if (used_.empty()) return used_;
    if ((highest - lowest) / 8 <= used_.size()) {
      std::size_t place = 0;
      for (std::uint32_t index = lowest; place < used_.size(); ++index) {
        if (new_of_[index] != kNone) used_[place++] = index;
      }
    } else {
      std::sort(used_.begin(), used_.end());
    }
    if (used_.size() < element_count) {
      for (std::uint32_t k = 0; k < used_.size(); ++k) new_of_[used_[k]] = k;
      for (std::uint32_t& index : indices) {
        if (index != kNone) index = new_of_[index];
      }
    }
    for (std::uint32_t const index : used_) new_of_[index] = kNone;
    return used_;
  }

 private:
  std::vector<std::uint32_t> new_of_, used_;
};

void gather(std::vector<float>& from, std::vector<std::uint32_t> const& used, std::size_t width, bool is_last,
            std::vector<float>& to) {
  if (!is_last) {
    to.resize(used.size() * width);
    for (std::size_t k = 0; k < used.size(); ++k) std::copy_n(&from[used[k] * width], width, &to[k * width]);
    return;
  }
  // Ascending, so that every element moves towards the front.
  if (used.size() * width < from.size()) {
    for (std::size_t k = 0; k < used.size(); ++k) std::copy_n(&from[used[k] * width], width, &from[k * width]);
    from.resize(used.size() * width);
  }
  to = std::move(from);
}

// Whether every element is used by some index. A byte for each: their stores do not wait for each other.
bool all_used(std::vector<std::uint32_t> const& indices, std::size_t element_count) {
  if (indices.size() < element_count) return false;
  std::vector<char> is_used(element_count, 0);
  for (std::uint32_t const index : indices) {
    if (index < element_count) is_used[index] = 1;
  }
  return std::find(is_used.begin(), is_used.end(), 0) == is_used.end();
}

}  // namespace

std::vector<ObjMesh> divide_soup(ObjSoup& soup) {
  Renumbering renumbering;
  for (std::size_t m = 0; m < soup.meshes.size(); ++m) {
    ObjMesh& mesh = soup.meshes[m];
    bool const is_last = m + 1 == soup.meshes.size();
    auto const take = [&](std::vector<std::uint32_t>& indices, std::vector<float>& from, std::size_t width,
                          std::vector<float>& to) {
      // Most files have one mesh that uses all that there is.
      if (is_last && all_used(indices, from.size() / width)) {
        to = std::move(from);
        return;
      }
      gather(from, renumbering.compact(indices, from.size() / width), width, is_last, to);
    };
    take(mesh.faces, soup.positions, 3, mesh.positions);
    take(mesh.face_normals, soup.normals, 3, mesh.normals);
    take(mesh.face_uvs, soup.uvs, 2, mesh.uvs);
  }
  return std::move(soup.meshes);
}

}  // namespace mirel::engine
