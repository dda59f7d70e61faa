// How the stages of the reader tell that a file cannot be read. It never leaves the library: the importer turns it into
// a status.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace mirel::fbx {

class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a file may make the reader allocate, by its size: a small file cannot ask for much, however it is compressed.
// The scene keeps it, as cutting its polygons and surfaces into triangles takes memory too.
class MemoryBudget {
 public:
  explicit MemoryBudget(std::size_t file_size) : left_(kBase + kPerByte * file_size) {}
  // Throws when less than that is left.
  void take(std::size_t bytes) {
    if (bytes > left_) throw ReadError("The file asks for more memory than its size can account for");
    left_ -= bytes;
  }
  std::size_t left() const { return left_; }
  // Of what was taken.
  void give_back(std::size_t bytes) { left_ += bytes; }

 private:
  // With the file's own bytes and what is too small to be counted, a file takes no more than 20 times its size and
  // this. A grid whose normals are all the same is as good as nothing when deflated: sixteenfold is no sign of an
  // attack.
#ifdef MIREL_SMALL_THRESHOLDS
  static constexpr std::size_t kBase = std::size_t{256} << 10;
#else
  static constexpr std::size_t kBase = std::size_t{64} << 20;
#endif
  static constexpr std::size_t kPerByte = 18;
  std::size_t left_;
};

}  // namespace mirel::fbx
