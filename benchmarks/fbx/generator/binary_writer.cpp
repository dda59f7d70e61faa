#include "benchmarks/fbx/generator/binary_writer.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace mirel::fbx_generator {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kMagic = "Kaydara FBX Binary  \0\x1a"sv;

template <class T>
void store(T number, bool is_big_endian, char* place) {
  std::memcpy(place, &number, sizeof number);
  if (is_big_endian != (std::endian::native == std::endian::big)) std::reverse(place, place + sizeof number);
}

std::string deflated(std::string const& raw) {
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string packed(size, '\0');
  int const result =
      compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<Bytef const*>(raw.data()),
                static_cast<uLong>(raw.size()), Z_DEFAULT_COMPRESSION);
  // The only other result is that memory has run out.
  if (result != Z_OK) std::abort();
  packed.resize(size);
  return packed;
}

}  // namespace

BinaryWriter::BinaryWriter(Form form) : form_(form), bytes_(kMagic) {
  bytes_.push_back(form.is_big_endian ? 1 : 0);
  append(static_cast<std::uint32_t>(form.version));
}

template <class T>
void BinaryWriter::append(T number) {
  char place[sizeof number];
  store(number, form_.is_big_endian, place);
  bytes_.append(place, sizeof place);
}

void BinaryWriter::append_size(std::uint64_t size) {
  bytes_.append(size_width(), '\0');
  put_size(bytes_.size() - size_width(), size);
}

void BinaryWriter::put_size(std::size_t position, std::uint64_t size) {
  if (size_width() == 8) {
    store(size, form_.is_big_endian, bytes_.data() + position);
  } else {
    store(static_cast<std::uint32_t>(size), form_.is_big_endian, bytes_.data() + position);
  }
}

void BinaryWriter::end_values() {
  Open const& element = open_.back();
  put_size(element.start + size_width(), element.value_count);
  put_size(element.start + 2 * size_width(), bytes_.size() - element.values_start);
}

BinaryWriter& BinaryWriter::begin(std::string_view name) {
  if (!open_.empty() && !open_.back().has_elements) {
    end_values();
    open_.back().has_elements = true;
  }
  std::size_t const start = bytes_.size();
  for (int k = 0; k < 3; ++k) append_size(0);
  bytes_.push_back(static_cast<char>(std::min<std::size_t>(name.size(), 255)));
  bytes_.append(name.substr(0, 255));
  open_.push_back({start, bytes_.size(), 0, false});
  return *this;
}

BinaryWriter& BinaryWriter::end() {
  Open const element = open_.back();
  if (element.has_elements) {
    bytes_.append(3 * size_width() + 1, '\0');
  } else {
    end_values();
  }
  put_size(element.start, bytes_.size());
  open_.pop_back();
  return *this;
}

BinaryWriter& BinaryWriter::value(char type, std::string_view bytes) {
  ++open_.back().value_count;
  bytes_.push_back(type);
  bytes_.append(bytes);
  return *this;
}

BinaryWriter& BinaryWriter::boolean(bool value) {
  return this->value('C', value ? "\1"sv : "\0"sv);
}

BinaryWriter& BinaryWriter::integer(std::int32_t value) {
  this->value('I', {});
  append(value);
  return *this;
}

BinaryWriter& BinaryWriter::id(std::int64_t value) {
  this->value('L', {});
  append(value);
  return *this;
}

BinaryWriter& BinaryWriter::real(double value) {
  this->value('D', {});
  append(value);
  return *this;
}

BinaryWriter& BinaryWriter::text(std::string_view value) {
  this->value('S', {});
  append(static_cast<std::uint32_t>(value.size()));
  bytes_.append(value);
  return *this;
}

BinaryWriter& BinaryWriter::array_as_said(char type, std::uint32_t count, std::uint32_t encoding,
                                          std::uint32_t stored_size, std::string_view bytes) {
  value(type, {});
  append(count);
  append(encoding);
  append(stored_size);
  bytes_.append(bytes);
  return *this;
}

template <class T>
BinaryWriter& BinaryWriter::append_array(char type, std::span<T const> values) {
  std::string raw(values.size_bytes(), '\0');
  for (std::size_t k = 0; k < values.size(); ++k) store(values[k], form_.is_big_endian, raw.data() + k * sizeof(T));
  std::string const stored = form_.deflates_arrays ? deflated(raw) : raw;
  array_as_said(type, static_cast<std::uint32_t>(values.size()), form_.deflates_arrays ? 1 : 0,
                static_cast<std::uint32_t>(stored.size()), stored);
  arrays_.push_back({type, form_.deflates_arrays, bytes_.size() - stored.size(), stored.size(), raw.size()});
  return *this;
}

BinaryWriter& BinaryWriter::array(std::span<double const> values) {
  return append_array('d', values);
}
BinaryWriter& BinaryWriter::array(std::span<float const> values) {
  return append_array('f', values);
}
BinaryWriter& BinaryWriter::array(std::span<std::int32_t const> values) {
  return append_array('i', values);
}
BinaryWriter& BinaryWriter::array(std::span<std::int64_t const> values) {
  return append_array('l', values);
}

std::string BinaryWriter::finish() {
  while (!open_.empty()) end();
  bytes_.append(3 * size_width() + 1, '\0');
  // What real files end in: a mark, zeros up to a multiple of 16, the version once more, and another mark.
  bytes_.append("\xfa\xbc\xab\x09\xd0\xc8\xd4\x66\xb1\x76\xfb\x83\x1c\xf7\x26\x7e"sv);
  bytes_.append(16 - bytes_.size() % 16 + 4, '\0');
  append(static_cast<std::uint32_t>(form_.version));
  bytes_.append(120, '\0');
  bytes_.append("\xf8\x5a\x8c\x6a\xde\xf5\xd9\x7e\xec\xe9\x0c\xe3\x75\x8f\x29\x0b"sv);
  return std::exchange(bytes_, {});
}

}  // namespace mirel::fbx_generator
