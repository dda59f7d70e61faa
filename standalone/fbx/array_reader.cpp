#include "standalone/fbx/array_reader.h"

#include <zlib.h>

#include <cmath>
#include <limits>
#include <new>

#include "standalone/fbx/byte_order.h"
#include "standalone/fbx/numbers.h"

namespace mirel::fbx {
namespace {

using fbxsdk::FbxVector2;
using fbxsdk::FbxVector4;

// Groups of numbers of the file that make one value of the result.
template <class T>
struct Group {
  static constexpr std::size_t kSize = 1;
  static void store(T& value, double const* numbers) { value = numbers[0]; }
};
template <>
struct Group<int> {
  static constexpr std::size_t kSize = 1;
  static void store(int& value, double const* numbers) {
    value = std::abs(numbers[0]) < 2147483648.0 ? static_cast<int>(numbers[0]) : -1;
  }
};
template <>
struct Group<FbxVector2> {
  static constexpr std::size_t kSize = 2;
  static void store(FbxVector2& value, double const* numbers) { value = FbxVector2(numbers[0], numbers[1]); }
};
template <>
struct Group<FbxVector4> {
  static constexpr std::size_t kSize = 3;
  static void store(FbxVector4& value, double const* numbers) {
    value = FbxVector4(numbers[0], numbers[1], numbers[2], 1.0);
  }
};

std::size_t size_of(char code) {
  switch (code) {
    case 'd':
    case 'l':
      return 8;
    case 'f':
    case 'i':
      return 4;
    default:
      return 1;
  }
}

void inflate_all(char const* packed, std::size_t packed_size, char* raw, std::size_t raw_size) {
  z_stream stream = {};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed));
  stream.next_out = reinterpret_cast<Bytef*>(raw);
  int result = Z_OK;
  // The stream counts in 32 bits.
  constexpr std::size_t kMost = std::size_t{1} << 30;
  std::size_t in_left = packed_size;
  std::size_t out_left = raw_size;
  while (result == Z_OK) {
    if (stream.avail_in == 0 && in_left > 0) {
      stream.avail_in = static_cast<uInt>(std::min(in_left, kMost));
      in_left -= stream.avail_in;
    }
    if (stream.avail_out == 0 && out_left > 0) {
      stream.avail_out = static_cast<uInt>(std::min(out_left, kMost));
      out_left -= stream.avail_out;
    }
    if (out_left == 0 && stream.avail_out == 0) break;
    result = inflate(&stream, Z_NO_FLUSH);
  }
  bool const filled = out_left == 0 && stream.avail_out == 0;
  inflateEnd(&stream);
  if (!filled) throw ReadError("The file is damaged: a compressed array is cut short or broken");
}

// The number at `k` of raw bytes of that type.
template <class Raw>
double number_at(char const* raw, std::size_t k, bool swap) {
  return static_cast<double>(load<Raw>(raw + k * sizeof(Raw), swap));
}

// Turns raw numbers at the end of the same block into values from its start on: a value is never written over numbers
// that have not been read.
template <class T, class Raw>
void convert(char const* raw, std::size_t count, bool swap, T* values) {
  constexpr std::size_t kSize = Group<T>::kSize;
  for (std::size_t k = 0; k < count; ++k) {
    double numbers[kSize];
    for (std::size_t i = 0; i < kSize; ++i) numbers[i] = number_at<Raw>(raw, k * kSize + i, swap);
    Group<T>::store(values[k], numbers);
  }
}

template <class T>
void read_packed(ElementTree& tree, Value const& value, Array<T>& result) {
  constexpr std::size_t kSize = Group<T>::kSize;
  bool const swap = tree.is_big_endian != kHostIsBigEndian;
  std::size_t const numbers = load<std::uint32_t>(value.bytes - 12, swap);
  std::uint32_t const encoding = load<std::uint32_t>(value.bytes - 8, swap);
  std::size_t const number_size = size_of(value.code);
  std::size_t const raw_size = numbers * number_size;
  if (encoding > 1) throw ReadError("The file is damaged: an array has an unknown encoding");
  if (encoding == 0 && raw_size > value.size) throw ReadError("The file is damaged: an array is cut short");
  // The best that deflate can do is about 1 to 1032.
  if (encoding == 1 && raw_size / 1040 > value.size) throw ReadError("The file is damaged: an array is cut short");
  std::size_t const count = numbers / kSize;
  std::size_t const value_bytes = count * sizeof(T);
  // Numbers that make no whole value move the others away from the block's end.
  std::size_t const left_over = (numbers - count * kSize) * number_size;
  std::size_t const block_bytes = std::max(value_bytes + left_over, raw_size);
  tree.budget.take(block_bytes);
  if (!result.allocate((block_bytes + sizeof(T) - 1) / sizeof(T))) throw std::bad_alloc();
  if (result.empty()) return;
  char const* raw = value.bytes;
  if (encoding == 1) {
    char* const place = reinterpret_cast<char*>(result.data()) + (block_bytes - raw_size);
    inflate_all(value.bytes, value.size, place, raw_size);
    raw = place;
  }
  switch (value.code) {
    case 'd':
      convert<T, double>(raw, count, swap, result.data());
      break;
    case 'f':
      convert<T, float>(raw, count, swap, result.data());
      break;
    case 'l':
      convert<T, std::int64_t>(raw, count, swap, result.data());
      break;
    case 'i':
      convert<T, std::int32_t>(raw, count, swap, result.data());
      break;
    default:
      convert<T, std::uint8_t>(raw, count, swap, result.data());
      break;
  }
  result.shorten(count);
}

// Calls `take` with each number of a list.
template <class Take>
void each_number(Value const& value, Take const& take) {
  char const* p = value.bytes;
  char const* const end = value.bytes + value.size;
  auto const is_divider = [](char c) { return c == ',' || static_cast<unsigned char>(c) <= ' '; };
  while (p < end) {
    while (p < end && is_divider(*p)) ++p;
    char const* const word = p;
    while (p < end && !is_divider(*p)) ++p;
    if (word == p) break;
    double number = 0;
    if (!parse_number(word, p, number)) {
      throw ReadError("\"" + std::string(word, std::min<std::size_t>(40, static_cast<std::size_t>(p - word))) +
                      "\" is not a number");
    }
    if (!take(number)) return;
  }
}

std::size_t count_numbers(Value const& value) {
  std::size_t commas = 0;
  for (char const* p = value.bytes; p < value.bytes + value.size; ++p) commas += *p == ',' ? 1 : 0;
  return commas + 1;
}

bool is_number(Value const& value) {
  return value.kind == Value::Kind::kInteger || value.kind == Value::Kind::kReal;
}

double number_of(Value const& value) {
  return value.kind == Value::Kind::kReal ? value.real : static_cast<double>(value.integer);
}

template <class T>
void read_any(ElementTree& tree, Element const* element, Array<T>& result) {
  constexpr std::size_t kSize = Group<T>::kSize;
  result = Array<T>();
  if (element != nullptr && element->value_count > 0 && element->values[0].kind == Value::Kind::kLength) {
    element = element->child("a");
  }
  if (element == nullptr || element->value_count == 0) return;
  if (element->values[0].kind == Value::Kind::kArray) return read_packed(tree, element->values[0], result);
  std::size_t total = 0;
  for (std::size_t k = 0; k < element->value_count; ++k) {
    Value const& value = element->values[k];
    total += value.kind == Value::Kind::kNumbers ? count_numbers(value) : 1;
  }
  tree.budget.take(total / kSize * sizeof(T));
  if (!result.allocate(total / kSize)) throw std::bad_alloc();
  std::size_t groups = 0;
  std::size_t filled = 0;
  double numbers[kSize];
  auto const take = [&](double number) {
    numbers[filled++] = number;
    if (filled < kSize) return true;
    filled = 0;
    if (groups < result.size()) Group<T>::store(result[groups++], numbers);
    return groups < result.size();
  };
  for (std::size_t k = 0; k < element->value_count && groups < result.size(); ++k) {
    Value const& value = element->values[k];
    if (value.kind == Value::Kind::kNumbers) {
      each_number(value, take);
    } else if (is_number(value)) {
      take(number_of(value));
    }
  }
  result.shorten(groups);
}

}  // namespace

void read_array(ElementTree& tree, Element const* element, Array<double>& result) {
  read_any(tree, element, result);
}
void read_array(ElementTree& tree, Element const* element, Array<int>& result) {
  read_any(tree, element, result);
}
void read_array(ElementTree& tree, Element const* element, Array<FbxVector2>& result) {
  read_any(tree, element, result);
}
void read_array(ElementTree& tree, Element const* element, Array<FbxVector4>& result) {
  read_any(tree, element, result);
}

std::size_t read_few(Element const* element, std::size_t first_value, double* numbers, std::size_t count) {
  std::size_t found = 0;
  if (element != nullptr && first_value < element->value_count &&
      element->values[first_value].kind == Value::Kind::kLength) {
    element = element->child("a");
    first_value = 0;
  }
  for (std::size_t k = first_value; element != nullptr && k < element->value_count && found < count; ++k) {
    Value const& value = element->values[k];
    if (is_number(value)) {
      numbers[found++] = number_of(value);
    } else if (value.kind == Value::Kind::kNumbers) {
      each_number(value, [&](double number) {
        numbers[found++] = number;
        return found < count;
      });
    }
  }
  return found;
}

}  // namespace mirel::fbx
