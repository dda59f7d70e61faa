// The binary form: records of 32-bit fields, or 64-bit ones from version 7500 on, in either byte order.
#include <bit>
#include <cstring>
#include <string>

#include "standalone/fbx/byte_order.h"
#include "standalone/fbx/element.h"

namespace mirel::fbx {
namespace {

constexpr std::string_view kMagic("Kaydara FBX Binary  \0\x1a", 22);
constexpr std::size_t kHeadSize = 27;

class BinaryReader {
 public:
  BinaryReader(std::string_view bytes, ElementTree& tree)
      : bytes_(bytes), tree_(tree), wide_(tree.version >= 7500), swap_(tree.is_big_endian != kHostIsBigEndian) {}

  void read() {
    std::size_t position = kHeadSize;
    read_children(tree_.root, position, bytes_.size(), 0);
  }

 private:
  [[noreturn]] static void fail(char const* what) { throw ReadError(std::string("The file is damaged: ") + what); }

  template <class T>
  T number(std::size_t position) const {
    return load<T>(bytes_.data() + position, swap_);
  }
  std::size_t word_size() const { return wide_ ? 8 : 4; }
  std::size_t head_size() const { return 3 * word_size() + 1; }
  std::size_t word(std::size_t position) const {
    return wide_ ? static_cast<std::size_t>(number<std::uint64_t>(position)) : number<std::uint32_t>(position);
  }

  // Reads elements up to an empty one or `end`.
  void read_children(Element& parent, std::size_t& position, std::size_t end, int depth) {
    if (depth > kDeepestElement) fail("its elements are nested too deeply");
    Element* last = nullptr;
    while (position < end) {
      if (end - position < head_size()) {
        // Padding behind the last element of a file that lost its end mark.
        if (depth > 0) fail("an element is cut short");
        return;
      }
      std::size_t const element_end = word(position);
      std::size_t const value_count = word(position + word_size());
      std::size_t const value_size = word(position + 2 * word_size());
      std::size_t const name_size = static_cast<unsigned char>(bytes_[position + 3 * word_size()]);
      std::size_t const values = position + head_size() + name_size;
      if (element_end == 0) {
        position += head_size();
        return;
      }
      if (element_end > end || values > element_end || value_size > element_end - values) {
        fail("an element reaches beyond its end");
      }
      Element* const element = tree_.add_element();
      element->name_bytes = bytes_.data() + position + head_size();
      element->name_size = static_cast<std::uint32_t>(name_size);
      read_values(*element, values, values + value_size, value_count);
      (last == nullptr ? parent.first_child : last->next) = element;
      last = element;
      std::size_t inner = values + value_size;
      if (inner < element_end) read_children(*element, inner, element_end, depth + 1);
      position = element_end;
    }
  }

  void read_values(Element& element, std::size_t position, std::size_t end, std::size_t count) {
    // Each has at least its type and one byte.
    if (count > (end - position) / 2) fail("an element has fewer values than it says");
    Value* const values = tree_.add_values(count);
    auto const need = [&](std::size_t size) {
      if (size > end - position) fail("a value is cut short");
    };
    for (std::size_t k = 0; k < count; ++k) {
      need(1);
      Value value = {};
      value.code = bytes_[position++];
      switch (value.code) {
        case 'C':
        case 'B':
          need(1);
          value.integer = bytes_[position] != 0 ? 1 : 0;
          position += 1;
          break;
        case 'Y':
          need(2);
          value.integer = number<std::int16_t>(position);
          position += 2;
          break;
        case 'I':
          need(4);
          value.integer = number<std::int32_t>(position);
          position += 4;
          break;
        case 'L':
          need(8);
          value.integer = number<std::int64_t>(position);
          position += 8;
          break;
        case 'F':
          need(4);
          value.kind = Value::Kind::kReal;
          value.real = static_cast<double>(number<float>(position));
          position += 4;
          break;
        case 'D':
          need(8);
          value.kind = Value::Kind::kReal;
          value.real = number<double>(position);
          position += 8;
          break;
        case 'S':
        case 'R':
          need(4);
          value.kind = Value::Kind::kText;
          value.size = number<std::uint32_t>(position);
          position += 4;
          need(value.size);
          value.bytes = bytes_.data() + position;
          position += value.size;
          break;
        case 'f':
        case 'd':
        case 'i':
        case 'l':
        case 'b':
        case 'c': {
          need(12);
          value.kind = Value::Kind::kArray;
          value.size = number<std::uint32_t>(position + 8);
          position += 12;
          need(value.size);
          value.bytes = bytes_.data() + position;
          position += value.size;
          break;
        }
        default:
          fail("a value has an unknown type");
      }
      values[k] = value;
    }
    element.values = values;
    element.value_count = static_cast<std::uint32_t>(count);
  }

  std::string_view bytes_;
  ElementTree& tree_;
  bool wide_;
  bool swap_;
};

}  // namespace

bool is_binary(std::string_view bytes) {
  return bytes.size() >= kHeadSize && bytes.substr(0, 20) == kMagic.substr(0, 20);
}

int find_binary_version(std::string_view bytes, bool& big_endian) {
  big_endian = bytes[22] != 0;
  auto const version = load<std::uint32_t>(bytes.data() + 23, big_endian != kHostIsBigEndian);
  return version > 1000000 ? 0 : static_cast<int>(version);
}

std::unique_ptr<ElementTree> read_binary(std::string_view bytes) {
  auto tree = std::make_unique<ElementTree>(bytes.size());
  tree->version = find_binary_version(bytes, tree->is_big_endian);
  BinaryReader(bytes, *tree).read();
  return tree;
}

}  // namespace mirel::fbx
