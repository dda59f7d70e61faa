// Reads PLY files, under the names and with the behaviour of the tinyply 3.0 interface as far as reading goes.
//
// Layer: serves where no tinyply is installed; a program includes either of the two and cannot tell. As with that
// library, one source file of a program defines TINYPLY_IMPLEMENTATION before it includes this header.
//
// Shapes: a request gives one buffer with the properties of each element side by side, in the order of the request,
// elements in file order, in the machine's byte order and in the type that the file declares. Of a list the values
// alone are kept, one list behind the other. Buffers belong to their PlyData.
//
// Errors are exceptions: std::invalid_argument for a request that the header cannot meet, std::runtime_error for a
// header or a body that is not PLY or ends early. A size that a header names is believed only as far as the stream
// can hold it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tinyply {

enum class Type : std::uint8_t { INVALID, INT8, UINT8, INT16, UINT16, INT32, UINT32, FLOAT32, FLOAT64 };

class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(std::size_t size) : data_(size > 0 ? new std::uint8_t[size] : nullptr), size_(size) {}
  Buffer(std::unique_ptr<std::uint8_t[]> data, std::size_t size) : data_(std::move(data)), size_(size) {}

  std::uint8_t* get() { return data_.get(); }  // null where it is empty
  std::uint8_t const* get() const { return data_.get(); }
  std::uint8_t const* get_const() const { return data_.get(); }
  std::size_t size_bytes() const { return size_; }

 private:
  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t size_ = 0;
};

struct PlyData {
  Type t = Type::INVALID;  // of each value
  Buffer buffer;           // filled by PlyFile::read
  std::size_t count = 0;   // elements
  bool isList = false;
};

struct PlyProperty {
  std::string name;
  Type propertyType = Type::INVALID;  // of each value
  bool isList = false;
  Type listType = Type::INVALID;  // of a list's length
};

struct PlyElement {
  std::string name;
  std::size_t size = 0;  // as the header says
  std::vector<PlyProperty> properties;
};

class PlyFile {
 public:
  PlyFile();
  ~PlyFile();
  PlyFile(PlyFile const&) = delete;
  PlyFile& operator=(PlyFile const&) = delete;

  // Reads up to and including the line "end_header". True, or throws std::runtime_error.
  bool parse_header(std::istream& stream);

  // Asks for properties of one type of the element `element_key`; the buffer is filled by read(). A list is asked
  // for on its own. `list_size_hint`: the length that most lists have, 0 where it is not known; it only saves
  // memory, lists of any other length are stored as they are.
  // Throws std::invalid_argument where element or property do not exist or types differ.
  std::shared_ptr<PlyData> request_properties_from_element(std::string const& element_key,
                                                           std::vector<std::string> property_keys,
                                                           std::uint32_t list_size_hint = 0);

  // Reads the body, on from the header, into all requested buffers. On std::runtime_error they stay empty.
  void read(std::istream& stream);

  std::vector<PlyElement> get_elements() const;
  std::vector<std::string> get_comments() const;  // without the keyword
  std::vector<std::string> get_info() const;      // the same of obj_info lines
  bool is_binary_file() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> impl_;
};

}  // namespace tinyply

#ifdef TINYPLY_IMPLEMENTATION
#include "tinyply_reading.h"
#endif
