// A block of values that is not initialised: the readers fill every byte of it, and the blocks are large.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <utility>

namespace mirel::fbx {

template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  Array() = default;
  Array(Array&& other) noexcept
      : items_(std::exchange(other.items_, nullptr)), count_(std::exchange(other.count_, 0)) {}
  Array& operator=(Array&& other) noexcept {
    std::swap(items_, other.items_);
    std::swap(count_, other.count_);
    return *this;
  }
  Array(Array const&) = delete;
  Array& operator=(Array const&) = delete;
  ~Array() { std::free(items_); }

  // False, and an empty array, when there is not that much memory.
  [[nodiscard]] bool allocate(std::size_t count) {
    std::free(std::exchange(items_, nullptr));
    count_ = 0;
    if (count == 0) return true;
    // T may be a pointer.
    constexpr std::size_t kItemSize = sizeof(T);  // NOLINT(bugprone-sizeof-expression)
    if (count > std::numeric_limits<std::size_t>::max() / kItemSize) return false;
    items_ = static_cast<T*>(std::malloc(count * kItemSize));
    if (items_ == nullptr) return false;
    count_ = count;
    return true;
  }
  // Keeps the first `count` values.
  void shorten(std::size_t count) {
    if (count < count_) count_ = count;
  }

  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  T* data() { return items_; }
  T const* data() const { return items_; }
  T& operator[](std::size_t index) { return items_[index]; }
  T const& operator[](std::size_t index) const { return items_[index]; }
  T* begin() { return items_; }
  T* end() { return items_ + count_; }
  T const* begin() const { return items_; }
  T const* end() const { return items_ + count_; }

 private:
  T* items_ = nullptr;
  std::size_t count_ = 0;
};

}  // namespace mirel::fbx
