// Which original triangles each live face answers for: a relation between slots of the original and faces, kept as
// two linked lists over one pool of links, so that a change of a few faces touches only their links, however many faces
// answer for the same original, and allocates nothing once the pool has grown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mirel::engine {

class AnswerLists {
 public:
  static constexpr std::uint32_t kEnd = 0xFFFFFFFFU;

  struct Link {
    std::uint32_t slot;
    std::uint32_t face;
    std::uint32_t next_of_face;
    std::uint32_t next_of_slot;
    std::uint32_t previous_of_slot;
  };

  AnswerLists(std::uint32_t face_count, std::uint32_t slot_count)
      : face_head_(face_count, kEnd), slot_head_(slot_count, kEnd) {
    links_.reserve(slot_count + slot_count / 2);
  }

  std::uint32_t first_of_face(std::uint32_t face) const { return face_head_[face]; }
  std::uint32_t first_of_slot(std::uint32_t slot) const { return slot_head_[slot]; }
  Link const& link(std::uint32_t index) const { return links_[index]; }
  std::size_t count() const { return count_; }

  // Adds the pair unless it is there. Throws std::bad_alloc.
  void add(std::uint32_t slot, std::uint32_t face) {
    for (std::uint32_t i = slot_head_[slot]; i != kEnd; i = links_[i].next_of_slot) {
      if (links_[i].face == face) return;
    }
    add_new(slot, face);
  }

  // Adds a pair that is not there. Throws std::bad_alloc.
  void add_new(std::uint32_t slot, std::uint32_t face) {
    ++count_;
    std::uint32_t index = free_;
    if (index == kEnd) {
      index = static_cast<std::uint32_t>(links_.size());
      links_.push_back({});
    } else {
      free_ = links_[index].next_of_face;
    }
    std::uint32_t const next = slot_head_[slot];
    if (next != kEnd) links_[next].previous_of_slot = index;
    links_[index] = {slot, face, face_head_[face], next, kEnd};
    face_head_[face] = index;
    slot_head_[slot] = index;
  }

  // Removes every pair of the face.
  void clear_face(std::uint32_t face) {
    std::uint32_t i = face_head_[face];
    face_head_[face] = kEnd;
    while (i != kEnd) {
      Link& link = links_[i];
      if (link.next_of_slot != kEnd) links_[link.next_of_slot].previous_of_slot = link.previous_of_slot;
      (link.previous_of_slot != kEnd ? links_[link.previous_of_slot].next_of_slot : slot_head_[link.slot]) =
          link.next_of_slot;
      std::uint32_t const next = link.next_of_face;
      link.next_of_face = free_;
      free_ = i;
      --count_;
      i = next;
    }
  }

 private:
  std::vector<std::uint32_t> face_head_;
  std::vector<std::uint32_t> slot_head_;
  std::vector<Link> links_;
  std::uint32_t free_ = kEnd;
  std::size_t count_ = 0;
};

}  // namespace mirel::engine
