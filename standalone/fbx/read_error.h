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
class MemoryBudget {
 public:
  explicit MemoryBudget(std::size_t file_size) : left_(kBase + kPerByte * file_size) {}
  // Throws when less than that is left.
  void take(std::size_t bytes) {
    if (bytes > left_) throw ReadError("The file asks for more memory than its size can account for");
    left_ -= bytes;
  }

 private:
  static constexpr std::size_t kBase = std::size_t{16} << 20;
  static constexpr std::size_t kPerByte = 12;
  std::size_t left_;
};

}  // namespace mirel::fbx
