// The definitions behind tinyply.h: header, body in blocks, one gathering loop for each of the three layouts (rows of
// one length, rows with lists, text). Included once per program.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <streambuf>
#include <string_view>
#include <utility>

#include "../text/decimal.h"

namespace tinyply {
namespace detail {

enum class Format : std::uint8_t { kNone, kText, kLittleEndian, kBigEndian };

inline constexpr std::size_t kLongestHeaderLine = std::size_t{1} << 20;
inline constexpr std::size_t kLongestHeader = std::size_t{1} << 26;
inline constexpr std::size_t kLongestNumber = std::size_t{1} << 16;
#ifdef MIREL_SMALL_THRESHOLDS
// For fuzzing: the borders of blocks come up in short files too.
inline constexpr std::size_t kBlock = 16;
#else
inline constexpr std::size_t kBlock = std::size_t{1} << 17;
#endif

// The line end behind the last byte, and what scanning a number may look at behind that.
inline constexpr std::size_t kPadding = 1 + mirel::text::kReadAhead;

inline std::size_t size_of(Type type) {
  constexpr std::uint8_t kSizes[] = {0, 1, 1, 2, 2, 4, 4, 4, 8};
  return kSizes[static_cast<std::size_t>(type)];
}

inline Type type_named(std::string_view name) {
  struct Row {
    std::string_view name, alias;
    Type type;
  };
  constexpr Row kTypes[] = {
      {"char", "int8", Type::INT8},        {"uchar", "uint8", Type::UINT8},      {"short", "int16", Type::INT16},
      {"ushort", "uint16", Type::UINT16},  {"int", "int32", Type::INT32},        {"uint", "uint32", Type::UINT32},
      {"float", "float32", Type::FLOAT32}, {"double", "float64", Type::FLOAT64},
  };
  for (Row const& row : kTypes) {
    if (name == row.name || name == row.alias) return row.type;
  }
  return Type::INVALID;
}

inline bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

[[noreturn]] inline void fail(std::string const& text) {
  throw std::runtime_error(text);
}

inline std::string_view take_word(std::string_view& line) {
  while (!line.empty() && is_space(line.front())) line.remove_prefix(1);
  std::size_t length = 0;
  while (length < line.size() && !is_space(line[length])) ++length;
  std::string_view const word = line.substr(0, length);
  line.remove_prefix(length);
  return word;
}

template <typename Number>
Number swapped(Number value) {
  unsigned char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  std::reverse(bytes, bytes + sizeof value);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

inline void swap_values(std::uint8_t* bytes, std::size_t size, std::size_t value_size) {
  auto const swap_all = [&](auto number) {
    for (std::size_t at = 0; at + sizeof number <= size; at += sizeof number) {
      std::memcpy(&number, bytes + at, sizeof number);
      number = swapped(number);
      std::memcpy(bytes + at, &number, sizeof number);
    }
  };
  if (value_size == 2) swap_all(std::uint16_t{});
  if (value_size == 4) swap_all(std::uint32_t{});
  if (value_size == 8) swap_all(std::uint64_t{});
}

// Bytes that grow as they come, never by more than doubling, so that memory follows what the stream really holds.
class GrowingBytes {
 public:
  void reserve(std::size_t capacity) {
    if (capacity <= capacity_) return;
    std::unique_ptr<std::uint8_t[]> larger(new std::uint8_t[capacity]);
    if (size_ > 0) std::memcpy(larger.get(), bytes_.get(), size_);
    bytes_ = std::move(larger);
    capacity_ = capacity;
  }
  // Room for `count` more bytes, to be written by the caller.
  std::uint8_t* extend(std::size_t count) {
    if (capacity_ - size_ < count) reserve(std::max(capacity_ * 2, size_ + count));
    size_ += count;
    return bytes_.get() + (size_ - count);
  }
  std::uint8_t* bytes() { return bytes_.get(); }
  std::size_t size() const { return size_; }
  Buffer release() {
    std::size_t const size = std::exchange(size_, 0);
    capacity_ = 0;
    std::unique_ptr<std::uint8_t[]> bytes = std::move(bytes_);
    return size == 0 ? Buffer() : Buffer(std::move(bytes), size);
  }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0, capacity_ = 0;
};

// The body, a block at a time. It reads from the stream's buffer and so leaves the stream's state alone.
class Body {
 public:
  explicit Body(std::istream& stream) : stream_(stream.rdbuf()) {
    if (stream_ == nullptr) fail("the stream has nothing to read from");
    auto const here = stream_->pubseekoff(0, std::ios_base::cur, std::ios_base::in);
    if (here != std::streampos(-1)) {
      auto const end = stream_->pubseekoff(0, std::ios_base::end, std::ios_base::in);
      if (end != std::streampos(-1) && end >= here) {
        is_size_known_ = true;
        left_ = static_cast<std::uint64_t>(end - here);
      }
      if (stream_->pubseekpos(here, std::ios_base::in) != here) fail("the stream cannot be read from");
    }
    block_.resize(kBlock + kPadding);
    block_[0] = '\n';
  }

  // No more than this many bytes are still to come; the largest number where that is not known.
  std::uint64_t at_most() const {
    return is_size_known_ ? left_ + (end_ - at_) : std::numeric_limits<std::uint64_t>::max();
  }

  // The next `count` bytes, taken.
  std::uint8_t const* take(std::size_t count) {
    if (end_ - at_ < count) {
      if (count > at_most()) fail_early();
      while (end_ - at_ < count) {
        if (!refill()) fail_early();
      }
    }
    at_ += count;
    return reinterpret_cast<std::uint8_t const*>(block_.data()) + (at_ - count);
  }

  void skip(std::uint64_t count) {
    if (count > at_most()) fail_early();
    while (count > 0) {
      std::size_t const part = static_cast<std::size_t>(std::min<std::uint64_t>(count, kBlock));
      take(part);
      count -= part;
    }
  }

  // The next word of text. `scan(word, behind)` returns its value and sets `behind` to its end, null where it is not
  // what was looked for; a line end stands behind the last byte that is there.
  template <typename Scan>
  auto take_word(Scan scan) {
    find_word();
    for (;;) {
      char const* const word = block_.data() + at_;
      char const* behind = word;
      auto const value = scan(word, behind);
      bool const ends_well = behind != nullptr && is_space(*behind);
      std::size_t const length = ends_well ? static_cast<std::size_t>(behind - word) : 0;
      if (ends_well && at_ + length < end_) {
        at_ += length;
        return value;
      }
      if (lengthen_word()) continue;
      if (!ends_well) fail_at_word();
      at_ += length;
      return value;
    }
  }

  void skip_word() {
    take_word([](char const* word, char const*& behind) {
      behind = word;
      while (!is_space(*behind)) ++behind;
      return 0;
    });
  }

 private:
  void find_word() {
    for (;;) {
      while (at_ < end_ && is_space(block_[at_])) ++at_;
      if (at_ < end_) return;
      if (!refill()) fail_early();
    }
  }

  // False where the block holds the whole word.
  bool lengthen_word() {
    auto const begin = block_.begin() + static_cast<std::ptrdiff_t>(at_);
    auto const end = block_.begin() + static_cast<std::ptrdiff_t>(end_);
    if (std::find_if(begin, end, is_space) != end) return false;
    if (end_ - at_ > kLongestNumber) fail_at_word();
    return refill();
  }

  // Moves what is left to the front and reads behind it. False at the end of the stream.
  bool refill() {
    std::size_t const rest = end_ - at_;
    if (at_ > 0) std::memmove(block_.data(), block_.data() + at_, rest);
    at_ = 0;
    end_ = rest;
    if (end_ + kPadding >= block_.size()) block_.resize(block_.size() * 2);
    std::streamsize const room = static_cast<std::streamsize>(block_.size() - kPadding - end_);
    std::streamsize const count = std::max<std::streamsize>(stream_->sgetn(block_.data() + end_, room), 0);
    end_ += static_cast<std::size_t>(count);
    left_ -= std::min<std::uint64_t>(left_, static_cast<std::uint64_t>(count));
    block_[end_] = '\n';
    return count > 0;
  }

  [[noreturn]] static void fail_early() { fail("the body of the PLY file ends early"); }

  [[noreturn]] void fail_at_word() const {
    std::string word;
    for (std::size_t k = at_; k < end_ && !is_space(block_[k]) && word.size() < 40; ++k) {
      word += static_cast<unsigned char>(block_[k]) < 0x20 ? '?' : block_[k];
    }
    fail("the body of the PLY file holds \"" + word + "\" in place of a number");
  }

  std::streambuf* stream_;
  std::vector<char> block_;  // a line end stands behind the last byte
  std::size_t at_ = 0, end_ = 0;
  bool is_size_known_ = false;
  std::uint64_t left_ = 0;  // in the stream, behind the block
};

template <typename Integer>
Integer read_text_integer(Body& body) {
  return body.take_word([](char const* word, char const*& behind) -> Integer {
    char const* p = word;
    bool const negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    std::int64_t value = 0;
    char const* const first = p;
    while (mirel::text::is_digit(*p) && p - first < 11) value = value * 10 + (*p++ - '0');
    if (p == first || !is_space(*p)) {
      // Whole numbers are also written as 3.0 or 1e3.
      double wide = 0;
      behind = mirel::text::scan_double(word, wide);
      if (behind == nullptr) return 0;
      if (!(wide >= -1e10 && wide <= 1e10) || wide != std::floor(wide)) {
        behind = nullptr;
        return 0;
      }
      value = static_cast<std::int64_t>(wide);
    } else {
      value = negative ? -value : value;
      behind = p;
    }
    if (value < std::numeric_limits<Integer>::min() ||
        value > static_cast<std::int64_t>(std::numeric_limits<Integer>::max())) {
      behind = nullptr;
    }
    return static_cast<Integer>(value);
  });
}

template <typename Float>
Float read_text_float(Body& body) {
  return body.take_word([](char const* word, char const*& behind) {
    Float value = 0;
    if constexpr (sizeof(Float) == 4) {
      behind = mirel::text::scan_float(word, value);
    } else {
      behind = mirel::text::scan_double(word, value);
    }
    return value;
  });
}

// Calls `use` with the number that stands next in the text.
template <typename Use>
void with_text_value(Body& body, Type type, Use use) {
  switch (type) {
    case Type::INT8:
      return use(read_text_integer<std::int8_t>(body));
    case Type::UINT8:
      return use(read_text_integer<std::uint8_t>(body));
    case Type::INT16:
      return use(read_text_integer<std::int16_t>(body));
    case Type::UINT16:
      return use(read_text_integer<std::uint16_t>(body));
    case Type::INT32:
      return use(read_text_integer<std::int32_t>(body));
    case Type::UINT32:
      return use(read_text_integer<std::uint32_t>(body));
    case Type::FLOAT32:
      return use(read_text_float<float>(body));
    case Type::FLOAT64:
      return use(read_text_float<double>(body));
    case Type::INVALID:
      break;
  }
}

inline void put_text_value(Body& body, Type type, std::uint8_t* to) {
  with_text_value(body, type, [to](auto value) { std::memcpy(to, &value, sizeof value); });
}

inline std::uint64_t read_list_length(Body& body, Type type, Format format) {
  std::int64_t length = 0;
  if (format == Format::kText) {
    with_text_value(body, type, [&](auto value) { length = static_cast<std::int64_t>(value); });
  } else {
    std::uint8_t const* const bytes = body.take(size_of(type));
    bool const swap = (format == Format::kBigEndian) != (std::endian::native == std::endian::big);
    auto const get = [&](auto number) {
      std::memcpy(&number, bytes, sizeof number);
      length = static_cast<std::int64_t>(swap ? swapped(number) : number);
    };
    if (type == Type::INT8) get(std::int8_t{});
    if (type == Type::UINT8) get(std::uint8_t{});
    if (type == Type::INT16) get(std::int16_t{});
    if (type == Type::UINT16) get(std::uint16_t{});
    if (type == Type::INT32) get(std::int32_t{});
    if (type == Type::UINT32) get(std::uint32_t{});
  }
  if (length < 0) fail("the body of the PLY file holds a list of negative length");
  return static_cast<std::uint64_t>(length);
}

struct Request {
  std::shared_ptr<PlyData> data;
  std::vector<std::size_t> properties;  // places in the element, in the order of the request
  std::uint32_t list_size_hint = 0;
  GrowingBytes bytes;
};

// Where a property goes in a request's row.
struct Destination {
  Request* request;
  std::size_t offset;  // of the value in the row
};

struct Element {
  PlyElement description;
  std::vector<std::unique_ptr<Request>> requests;

  bool has_lists() const {
    return std::any_of(description.properties.begin(), description.properties.end(),
                       [](PlyProperty const& property) { return property.isList; });
  }
};

inline std::size_t row_size(Request const& request) {
  return request.properties.size() * size_of(request.data->t);
}

// What the request will need if the header tells the truth, as far as the stream can hold it.
inline void reserve(Request& request, Body const& body, Format format) {
  std::uint64_t const value_size = size_of(request.data->t);
  std::uint64_t const values_per_row = request.data->isList ? request.list_size_hint : request.properties.size();
  std::uint64_t const bytes = body.at_most();
  // Unknown: grow as it comes.
  if (bytes == std::numeric_limits<std::uint64_t>::max()) return;
  // In text a value and the blank behind it take two bytes.
  std::uint64_t const most_values = format == Format::kText ? bytes / 2 + 1 : bytes / value_size;
  std::uint64_t const rows = request.data->count;
  bool const is_too_many = values_per_row > 0 && rows > most_values / values_per_row;
  request.bytes.reserve(static_cast<std::size_t>((is_too_many ? most_values : rows * values_per_row) * value_size));
}

// Binary, every row of one length.
inline void read_rows(Element& element, Body& body) {
  std::vector<std::size_t> offsets;
  std::size_t stride = 0;
  for (PlyProperty const& property : element.description.properties) {
    offsets.push_back(stride);
    stride += size_of(property.propertyType);
  }
  if (stride == 0) return;
  std::size_t const rows = element.description.size;
  if (rows > body.at_most() / stride) fail("the body of the PLY file ends early");
  if (element.requests.empty()) {
    body.skip(static_cast<std::uint64_t>(rows) * stride);
    return;
  }
  std::size_t const rows_at_once = std::max<std::size_t>(1, kBlock / 2 / stride);
  for (std::size_t row = 0; row < rows;) {
    std::size_t const count = std::min(rows_at_once, rows - row);
    std::uint8_t const* const block = body.take(count * stride);
    for (auto const& request : element.requests) {
      std::size_t const value_size = size_of(request->data->t);
      std::size_t const width = row_size(*request);
      std::uint8_t* const to = request->bytes.extend(count * width);
      std::size_t const first = offsets[request->properties.front()];
      bool is_contiguous = true;
      for (std::size_t k = 0; k < request->properties.size(); ++k) {
        is_contiguous = is_contiguous && offsets[request->properties[k]] == first + k * value_size;
      }
      if (is_contiguous) {
        for (std::size_t k = 0; k < count; ++k) std::memcpy(to + k * width, block + k * stride + first, width);
      } else {
        for (std::size_t k = 0; k < count; ++k) {
          for (std::size_t v = 0; v < request->properties.size(); ++v) {
            std::memcpy(to + k * width + v * value_size, block + k * stride + offsets[request->properties[v]],
                        value_size);
          }
        }
      }
    }
    row += count;
  }
}

inline void read_list(PlyProperty const& property, std::vector<Destination> const& destinations, Body& body,
                      Format format) {
  std::uint64_t const length = read_list_length(body, property.listType, format);
  std::size_t const value_size = size_of(property.propertyType);
  if (format == Format::kText) {
    for (std::uint64_t k = 0; k < length; ++k) {
      if (destinations.empty()) {
        body.skip_word();
        continue;
      }
      std::uint8_t value[8];
      put_text_value(body, property.propertyType, value);
      for (Destination const& destination : destinations) {
        std::memcpy(destination.request->bytes.extend(value_size), value, value_size);
      }
    }
    return;
  }
  if (destinations.empty()) return body.skip(length * value_size);
  if (length * value_size > body.at_most()) fail("the body of the PLY file ends early");
  for (std::uint64_t left = length * value_size; left > 0;) {
    std::size_t const part = static_cast<std::size_t>(std::min<std::uint64_t>(left, kBlock / 2));
    std::uint8_t const* const bytes = body.take(part);
    for (Destination const& destination : destinations) {
      std::memcpy(destination.request->bytes.extend(part), bytes, part);
    }
    left -= part;
  }
}

// Text, and binary rows with lists.
inline void read_properties(Element& element, Body& body, Format format) {
  std::vector<PlyProperty> const& properties = element.description.properties;
  if (properties.empty()) return;
  std::vector<std::vector<Destination>> destinations(properties.size());
  for (auto const& request : element.requests) {
    for (std::size_t k = 0; k < request->properties.size(); ++k) {
      destinations[request->properties[k]].push_back({request.get(), k * size_of(request->data->t)});
    }
  }
  for (std::size_t row = 0; row < element.description.size; ++row) {
    for (auto const& request : element.requests) {
      if (!request->data->isList) request->bytes.extend(row_size(*request));
    }
    for (std::size_t p = 0; p < properties.size(); ++p) {
      PlyProperty const& property = properties[p];
      if (property.isList) {
        read_list(property, destinations[p], body, format);
        continue;
      }
      std::size_t const value_size = size_of(property.propertyType);
      std::uint8_t text_value[8];
      std::uint8_t const* value = text_value;
      if (format != Format::kText) {
        value = body.take(value_size);
      } else if (destinations[p].empty()) {
        body.skip_word();
      } else {
        put_text_value(body, property.propertyType, text_value);
      }
      for (Destination const& destination : destinations[p]) {
        GrowingBytes& bytes = destination.request->bytes;
        std::memcpy(bytes.bytes() + (bytes.size() - row_size(*destination.request)) + destination.offset, value,
                    value_size);
      }
    }
  }
}

inline void read_element(Element& element, Body& body, Format format) {
  for (auto const& request : element.requests) reserve(*request, body, format);
  if (format != Format::kText && !element.has_lists()) {
    read_rows(element, body);
  } else {
    read_properties(element, body, format);
  }
  bool const is_foreign =
      format != Format::kText && (format == Format::kBigEndian) != (std::endian::native == std::endian::big);
  if (!is_foreign) return;
  for (auto const& request : element.requests) {
    swap_values(request->bytes.bytes(), request->bytes.size(), size_of(request->data->t));
  }
}

}  // namespace detail

struct PlyFile::Implementation {
  detail::Format format = detail::Format::kNone;
  bool has_header = false;
  std::vector<detail::Element> elements;
  std::vector<std::string> comments, infos;

  std::size_t line = 0;
  std::size_t header_size = 0;
  bool ends_lines_with_cr = false;

  [[noreturn]] void fail(std::string const& reason) const {
    detail::fail("line " + std::to_string(line) + " of the PLY header: " + reason);
  }

  std::string next_line(std::streambuf& stream) {
    using Traits = std::streambuf::traits_type;
    ++line;
    std::string text;
    for (;;) {
      auto const next = stream.sbumpc();
      if (Traits::eq_int_type(next, Traits::eof())) fail("the file ends");
      char const c = Traits::to_char_type(next);
      if (++header_size > detail::kLongestHeader) fail("the header has no end");
      if (c == '\n') break;
      if (c == '\r' && line == 1) {
        ends_lines_with_cr = !Traits::eq_int_type(stream.sgetc(), Traits::to_int_type('\n'));
      }
      if (c == '\r' && ends_lines_with_cr) break;
      text += c;
      if (line == 1 && text.size() > 4) break;  // not "ply", so it need not be a line at all
      if (text.size() > detail::kLongestHeaderLine) fail("a line without end");
    }
    while (!text.empty() && detail::is_space(text.back())) text.pop_back();
    return text;
  }

  void parse_format(std::string_view rest) {
    std::string_view const name = detail::take_word(rest);
    if (format != detail::Format::kNone) fail("a second format");
    if (name == "ascii") format = detail::Format::kText;
    if (name == "binary_little_endian") format = detail::Format::kLittleEndian;
    if (name == "binary_big_endian") format = detail::Format::kBigEndian;
    if (format == detail::Format::kNone) fail("unknown format");
  }

  void parse_element(std::string_view rest) {
    std::string_view const name = detail::take_word(rest);
    std::string_view const count = detail::take_word(rest);
    if (name.empty() || count.empty()) fail("an element without name or count");
    detail::Element& element = elements.emplace_back();
    element.description.name = name;
    std::size_t size = 0;
    for (char const c : count) {
      if (!mirel::text::is_digit(c) || size > (std::numeric_limits<std::size_t>::max() - 9) / 10) {
        fail("malformed element count");
      }
      size = size * 10 + static_cast<std::size_t>(c - '0');
    }
    element.description.size = size;
  }

  void parse_property(std::string_view rest) {
    if (elements.empty()) fail("a property before any element");
    PlyProperty property;
    std::string_view word = detail::take_word(rest);
    if (word == "list") {
      property.isList = true;
      property.listType = detail::type_named(detail::take_word(rest));
      if (property.listType == Type::INVALID || property.listType == Type::FLOAT32 ||
          property.listType == Type::FLOAT64) {
        fail("unknown type of a list's length");
      }
      word = detail::take_word(rest);
    }
    property.propertyType = detail::type_named(word);
    if (property.propertyType == Type::INVALID) fail("unknown property type");
    property.name = detail::take_word(rest);
    if (property.name.empty()) fail("a property without name");
    elements.back().description.properties.push_back(std::move(property));
  }

  void parse_header(std::streambuf& stream) {
    if (next_line(stream) != "ply") fail("the file does not start with \"ply\"");
    for (;;) {
      std::string const text = next_line(stream);
      std::string_view rest = text;
      std::string_view const keyword = detail::take_word(rest);
      if (!rest.empty()) rest.remove_prefix(1);
      if (keyword == "end_header") break;
      if (keyword == "format") {
        parse_format(rest);
      } else if (keyword == "element") {
        parse_element(rest);
      } else if (keyword == "property") {
        parse_property(rest);
      } else if (keyword == "comment") {
        comments.emplace_back(rest);
      } else if (keyword == "obj_info") {
        infos.emplace_back(rest);
      } else if (!keyword.empty()) {
        fail("unknown keyword");
      }
    }
    if (format == detail::Format::kNone) fail("no format");
    has_header = true;
  }
};

PlyFile::PlyFile() : impl_(new Implementation) {}
PlyFile::~PlyFile() = default;

bool PlyFile::parse_header(std::istream& stream) {
  impl_ = std::make_unique<Implementation>();
  if (stream.rdbuf() == nullptr) detail::fail("the stream has nothing to read from");
  impl_->parse_header(*stream.rdbuf());
  return true;
}

std::shared_ptr<PlyData> PlyFile::request_properties_from_element(std::string const& element_key,
                                                                  std::vector<std::string> property_keys,
                                                                  std::uint32_t list_size_hint) {
  if (!impl_->has_header) detail::fail("no PLY header has been parsed");
  auto const element = std::find_if(impl_->elements.begin(), impl_->elements.end(),
                                    [&](detail::Element const& e) { return e.description.name == element_key; });
  if (element == impl_->elements.end()) throw std::invalid_argument("the PLY header has no element " + element_key);
  if (property_keys.empty()) throw std::invalid_argument("no property of the element " + element_key + " is named");
  std::vector<PlyProperty> const& properties = element->description.properties;
  auto request = std::make_unique<detail::Request>();
  request->data = std::make_shared<PlyData>();
  PlyData& data = *request->data;
  data.count = element->description.size;
  request->list_size_hint = list_size_hint;
  for (std::string const& key : property_keys) {
    auto const property =
        std::find_if(properties.begin(), properties.end(), [&](PlyProperty const& p) { return p.name == key; });
    std::string const name = element_key + "." + key;
    if (property == properties.end()) throw std::invalid_argument("the PLY header has no property " + name);
    if (property->isList && property_keys.size() > 1) {
      throw std::invalid_argument("the list " + name + " has to be requested on its own");
    }
    if (data.t != Type::INVALID && data.t != property->propertyType) {
      throw std::invalid_argument("the type of " + name + " differs from that of the other properties");
    }
    data.t = property->propertyType;
    data.isList = property->isList;
    request->properties.push_back(static_cast<std::size_t>(property - properties.begin()));
  }
  std::shared_ptr<PlyData> const result = request->data;
  element->requests.push_back(std::move(request));
  return result;
}

void PlyFile::read(std::istream& stream) {
  if (!impl_->has_header) detail::fail("no PLY header has been parsed");
  for (detail::Element& element : impl_->elements) {
    for (auto const& request : element.requests) request->bytes.release();
  }
  detail::Body body(stream);
  for (detail::Element& element : impl_->elements) detail::read_element(element, body, impl_->format);
  for (detail::Element& element : impl_->elements) {
    for (auto const& request : element.requests) request->data->buffer = request->bytes.release();
  }
}

std::vector<PlyElement> PlyFile::get_elements() const {
  std::vector<PlyElement> elements;
  for (detail::Element const& element : impl_->elements) elements.push_back(element.description);
  return elements;
}

std::vector<std::string> PlyFile::get_comments() const {
  return impl_->comments;
}
std::vector<std::string> PlyFile::get_info() const {
  return impl_->infos;
}
bool PlyFile::is_binary_file() const {
  return impl_->format == detail::Format::kLittleEndian || impl_->format == detail::Format::kBigEndian;
}

}  // namespace tinyply
