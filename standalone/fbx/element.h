// The tree of named elements that a file consists of, binary or text. Names, texts and arrays are views into the file's
// bytes, which have to stay; arrays are unpacked only when somebody asks for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "standalone/fbx/read_error.h"

namespace mirel::fbx {

struct Value {
  enum class Kind : std::uint8_t {
    kInteger,
    kReal,
    kText,
    // Binary: `bytes` is behind the array's head, `code` its element type.
    kArray,
    // Text: numbers divided by commas; `size` bytes.
    kNumbers,
    // Text: the announced length of an array whose numbers are in the child "a".
    kLength
  };
  union {
    std::int64_t integer;
    double real;
    char const* bytes;
  };
  std::uint32_t size = 0;
  Kind kind = Kind::kInteger;
  char code = 0;
};

struct Element {
  char const* name_bytes = nullptr;
  Value const* values = nullptr;
  Element* first_child = nullptr;
  Element* next = nullptr;
  std::uint32_t value_count = 0;
  std::uint32_t name_size = 0;

  std::string_view name() const { return {name_bytes, name_size}; }
  // The first child of that name, null when there is none.
  Element const* child(std::string_view wanted) const {
    for (Element const* one = first_child; one != nullptr; one = one->next) {
      if (one->name() == wanted) return one;
    }
    return nullptr;
  }
};

// Owner of all elements and values of a tree.
class ElementTree {
 public:
  explicit ElementTree(std::size_t file_size)
      : shared_budget(std::make_shared<MemoryBudget>(file_size)), budget(*shared_budget) {}
  // The tree's own part of the budget, for when it goes.
  std::size_t size_in_memory() const { return size_in_memory_; }
  Element* add_element();
  // Values to be filled in by the caller.
  Value* add_values(std::size_t count);
  Value const* add_values(std::vector<Value> const& values);

  // A nameless element whose children are the file's top level.
  Element root;
  int version = 0;
  bool is_text = false;
  bool is_big_endian = false;
  std::shared_ptr<MemoryBudget> const shared_budget;
  MemoryBudget& budget;

 private:
  void take(std::size_t bytes) {
    budget.take(bytes);
    size_in_memory_ += bytes;
  }
  static constexpr std::size_t kBlockElements = 256;
  static constexpr std::size_t kBlockValues = 1024;
  std::vector<std::unique_ptr<Element[]>> element_blocks_;
  std::vector<std::unique_ptr<Value[]>> value_blocks_;
  std::size_t elements_used_ = kBlockElements;
  std::size_t values_used_ = kBlockValues;
  std::size_t value_block_size_ = kBlockValues;
  std::size_t size_in_memory_ = 0;
};

inline constexpr int kDeepestElement = 128;

// Whether the bytes begin like a file of that form.
bool is_binary(std::string_view bytes);
bool is_text(std::string_view bytes);
// Version of a file that is_binary or is_text; 0 when it tells none.
int find_version(std::string_view bytes);

// Reads the whole tree; both throw ReadError. `bytes` need kReadAhead readable bytes behind their end.
inline constexpr std::size_t kReadAhead = 8;
std::unique_ptr<ElementTree> read_binary(std::string_view bytes);
std::unique_ptr<ElementTree> read_text(std::string_view bytes);
// Either.
std::unique_ptr<ElementTree> read_elements(std::string_view bytes);

}  // namespace mirel::fbx
