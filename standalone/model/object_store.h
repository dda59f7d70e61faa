// Objects behind references, and arrays whose elements stay where they are.
//
// A reference of the C API is the address of an object that begins with its kind. Objects are never handed back to the
// system: a released one is emptied, marked, and used again, so that a stale reference is answered as invalid (or, once
// its place has a new tenant, as that one) instead of reading freed memory.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace mirel::model {

enum class Kind : std::uint32_t {
  kNone = 0,
  kModel = 0x4D4F4431,
  kEntities,
  kFace,
  kEdge,
  kGroup,
  kDefinition,
  kInstance,
  kMaterial,
  kTexture,
  kGeometryInput,
  kLoopInput,
  kString
};

struct Object {
  Kind kind = Kind::kNone;
};

// The object behind a reference's pointer, or null when that is no live T.
template <typename T>
T* resolve(void* pointer) {
  Object* const object = static_cast<Object*>(pointer);
  return object != nullptr && object->kind == T::kKind ? static_cast<T*>(object) : nullptr;
}

// All objects of one type. T is default-constructible, move-assignable and derives from Object alone.
template <typename T>
class ObjectStore {
 public:
  T* make() {
    T* object = nullptr;
    if (free_.empty()) {
      // Room to release every object without asking for memory.
      free_.reserve(objects_.size() + 1 > free_.capacity() ? 2 * (objects_.size() + 1) : 0);
      object = &objects_.emplace_back();
    } else {
      object = free_.back();
      free_.pop_back();
    }
    object->kind = T::kKind;
    ++live_count_;
    return object;
  }

  void release(T* object) {
    *object = T();
    object->kind = Kind::kNone;
    free_.push_back(object);
    --live_count_;
  }

  std::size_t live_count() const { return live_count_; }

 private:
  std::deque<T> objects_;
  std::vector<T*> free_;
  std::size_t live_count_ = 0;
};

// Grows by blocks, small ones first: elements keep their addresses, and little memory is left over.
template <typename T>
class StableArray {
 public:
  T& operator[](std::size_t index) {
    auto const [block, offset] = find(index);
    return blocks_[block][offset];
  }
  T const& operator[](std::size_t index) const {
    auto const [block, offset] = find(index);
    return blocks_[block][offset];
  }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  T& push_back(T const& value) {
    std::size_t const block = find(size_).block;
    if (block == blocks_.size()) {
      blocks_.push_back(std::make_unique<T[]>(block < kGrowingBlocks ? kFirstSize << block : kLastSize));
    }
    T& place = (*this)[size_++];
    place = value;
    return place;
  }

 private:
  // Sizes 16, 32, … 1024, 1024, 1024, …
  static constexpr std::size_t kFirstSize = 16;
  static constexpr std::size_t kGrowingBlocks = 7;
  static constexpr std::size_t kLastSize = kFirstSize << (kGrowingBlocks - 1);

  struct Place {
    std::size_t block;
    std::size_t offset;
  };
  static Place find(std::size_t index) {
    std::size_t const shifted = index + kFirstSize;
    if (shifted < 2 * kLastSize) {
      auto const block = static_cast<std::size_t>(std::bit_width(shifted / kFirstSize)) - 1;
      return {block, shifted - (kFirstSize << block)};
    }
    std::size_t const rest = shifted - 2 * kLastSize;
    return {kGrowingBlocks + rest / kLastSize, rest % kLastSize};
  }

  std::vector<std::unique_ptr<T[]>> blocks_;
  std::size_t size_ = 0;
};

}  // namespace mirel::model
