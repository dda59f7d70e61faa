// Writes the elements of a binary FBX file: names, values and nested elements as the caller says, well-formed or not.
//
//   BinaryWriter writer({.version = 7500});
//   writer.begin("Objects");
//   writer.begin("Geometry").id(7).text("plane").text("Mesh");
//   writer.begin("Vertices").array(std::span<double const>(positions)).end();
//   writer.end().end();
//   std::string const bytes = writer.finish();
//
// All values of an element come before the elements in it. Versions from 7500 on have records with 64-bit sizes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mirel::fbx_generator {

struct Form {
  int version = 7400;
  bool is_big_endian = false;
  bool deflates_arrays = true;
};

// Where an array's bytes stand in the file.
struct ArrayPlace {
  // As the file names it: 'd', 'f', 'i', 'l', 'b' or 'c'.
  char type;
  bool is_deflated;
  std::size_t offset;
  std::size_t stored_size;
  std::size_t raw_size;
};

class BinaryWriter {
 public:
  explicit BinaryWriter(Form form);

  BinaryWriter& begin(std::string_view name);
  BinaryWriter& end();
  BinaryWriter& boolean(bool value);
  BinaryWriter& integer(std::int32_t value);
  BinaryWriter& id(std::int64_t value);
  BinaryWriter& real(double value);
  BinaryWriter& text(std::string_view value);
  BinaryWriter& array(std::span<double const> values);
  BinaryWriter& array(std::span<float const> values);
  BinaryWriter& array(std::span<std::int32_t const> values);
  BinaryWriter& array(std::span<std::int64_t const> values);
  // An array whose head need not fit its bytes, which are stored as they are.
  BinaryWriter& array_as_said(char type, std::uint32_t count, std::uint32_t encoding, std::uint32_t stored_size,
                              std::string_view bytes);
  // A value of any type code.
  BinaryWriter& value(char type, std::string_view bytes);

  // The file with all its elements ended; the writer is empty then.
  std::string finish();
  std::vector<ArrayPlace> const& arrays() const { return arrays_; }

 private:
  struct Open {
    std::size_t start;
    std::size_t values_start;
    std::uint64_t value_count;
    bool has_elements;
  };
  template <class T>
  void append(T number);
  template <class T>
  BinaryWriter& append_array(char type, std::span<T const> values);
  void append_size(std::uint64_t size);
  void put_size(std::size_t position, std::uint64_t size);
  void end_values();
  std::size_t size_width() const { return form_.version >= 7500 ? 8 : 4; }

  Form form_;
  std::string bytes_;
  std::vector<Open> open_;
  std::vector<ArrayPlace> arrays_;
};

}  // namespace mirel::fbx_generator
