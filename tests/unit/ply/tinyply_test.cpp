#include "standalone/ply/tinyply.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using tinyply::PlyData;
using tinyply::PlyFile;
using tinyply::Type;
using Data = std::shared_ptr<PlyData>;

template <typename T>
std::vector<T> values(Data const& data) {
  std::vector<T> result(data->buffer.size_bytes() / sizeof(T));
  if (!result.empty()) std::memcpy(result.data(), data->buffer.get_const(), result.size() * sizeof(T));
  return result;
}

// Bytes of a body, in the order that is asked for.
class Bytes {
 public:
  explicit Bytes(bool big) : big_(big) {}
  template <typename T>
  Bytes& put(T value) {
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    bool const is_big = std::endian::native == std::endian::big;
    for (std::size_t k = 0; k < sizeof value; ++k) text_ += bytes[is_big == big_ ? k : sizeof value - 1 - k];
    return *this;
  }
  std::string const& text() const { return text_; }

 private:
  bool big_;
  std::string text_;
};

std::string const kMesh =
    "element vertex 3\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\n"
    "element face 2\nproperty list uchar int vertex_indices\nend_header\n";

std::string header(std::string const& format, std::string const& rest) {
  return "ply\nformat " + format + " 1.0\ncomment made by hand\nobj_info two words\n" + rest;
}

std::string binary_mesh(bool big) {
  Bytes bytes(big);
  for (int k = 0; k < 3; ++k) {
    bytes.put(static_cast<float>(k)).put(0.5F).put(-1.0F).put(static_cast<std::uint8_t>(200 + k));
  }
  for (int k = 0; k < 2; ++k) {
    bytes.put(std::uint8_t{3}).put(std::int32_t{0}).put(std::int32_t{1}).put(std::int32_t{2});
  }
  return header(big ? "binary_big_endian" : "binary_little_endian", kMesh) + bytes.text();
}

std::string text_mesh() {
  return header("ascii", kMesh) + "0 0.5 -1 200\n1 5e-1 -1.0 201\n2 .5 -1 202\n3 0 1 2\n3 0 1 2\n";
}

// What the importer asks for.
struct Import {
  Data positions, faces;
  std::string problem;
};

Import import_mesh(std::string const& text) {
  Import result;
  std::istringstream stream(text);
  try {
    PlyFile file;
    file.parse_header(stream);
    result.positions = file.request_properties_from_element("vertex", {"x", "y", "z"});
    result.faces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
    file.read(stream);
    EXPECT_FALSE(stream.fail());
  } catch (std::exception const& exception) {
    result.problem = exception.what();
  }
  return result;
}

TEST(TinyPly, ReadsEveryEncoding) {
  std::string crlf = text_mesh();
  for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2) crlf.replace(at, 1, "\r\n");
  std::string cr = text_mesh();
  std::replace(cr.begin(), cr.end(), '\n', '\r');
  std::string no_end = text_mesh();
  no_end.pop_back();
  for (std::string const& text : {binary_mesh(false), binary_mesh(true), text_mesh(), crlf, cr, no_end}) {
    Import const mesh = import_mesh(text);
    ASSERT_EQ(mesh.problem, "");
    EXPECT_EQ(mesh.positions->t, Type::FLOAT32);
    EXPECT_FALSE(mesh.positions->isList);
    EXPECT_EQ(mesh.positions->count, 3U);
    EXPECT_EQ(values<float>(mesh.positions), (std::vector<float>{0, 0.5F, -1, 1, 0.5F, -1, 2, 0.5F, -1}));
    EXPECT_EQ(mesh.faces->t, Type::INT32);
    EXPECT_TRUE(mesh.faces->isList);
    EXPECT_EQ(mesh.faces->count, 2U);
    EXPECT_EQ(values<std::int32_t>(mesh.faces), (std::vector<std::int32_t>{0, 1, 2, 0, 1, 2}));
  }
}

TEST(TinyPly, TellsTheHeader) {
  std::istringstream stream(text_mesh());
  PlyFile file;
  EXPECT_TRUE(file.parse_header(stream));
  std::vector<tinyply::PlyElement> const elements = file.get_elements();
  ASSERT_EQ(elements.size(), 2U);
  EXPECT_EQ(elements[0].name, "vertex");
  EXPECT_EQ(elements[0].size, 3U);
  ASSERT_EQ(elements[0].properties.size(), 4U);
  EXPECT_EQ(elements[0].properties[3].name, "red");
  EXPECT_EQ(elements[0].properties[3].propertyType, Type::UINT8);
  EXPECT_TRUE(elements[1].properties[0].isList);
  EXPECT_EQ(elements[1].properties[0].listType, Type::UINT8);
  EXPECT_EQ(elements[1].properties[0].propertyType, Type::INT32);
  EXPECT_EQ(file.get_comments(), std::vector<std::string>{"made by hand"});
  EXPECT_EQ(file.get_info(), std::vector<std::string>{"two words"});
  EXPECT_FALSE(file.is_binary_file());
}

template <typename T>
void expect_type(char const* name, Type type, T low, T high) {
  std::string const elements =
      std::string("element e 2\nproperty ") + name + " a\nproperty " + name + " b\nend_header\n";
  for (int format = 0; format < 3; ++format) {
    std::string text;
    if (format == 2) {
      std::ostringstream out;
      out.precision(std::numeric_limits<T>::max_digits10);
      out << header("ascii", elements) << +low << ' ' << +high << '\n' << +high << ' ' << +low;
      text = out.str();
    } else {
      text = header(format == 1 ? "binary_big_endian" : "binary_little_endian", elements) +
             Bytes(format == 1).put(low).put(high).put(high).put(low).text();
    }
    std::istringstream stream(text);
    PlyFile file;
    file.parse_header(stream);
    Data const both = file.request_properties_from_element("e", {"a", "b"});
    Data const turned = file.request_properties_from_element("e", {"b", "a"});
    Data const one = file.request_properties_from_element("e", {"b"});
    file.read(stream);
    EXPECT_EQ(both->t, type) << name;
    EXPECT_EQ(values<T>(both), (std::vector<T>{low, high, high, low})) << name;
    EXPECT_EQ(values<T>(turned), (std::vector<T>{high, low, low, high})) << name;
    EXPECT_EQ(values<T>(one), (std::vector<T>{high, low})) << name;
  }
}

TEST(TinyPly, ReadsEveryTypeUnderBothItsNames) {
  for (char const* name : {"char", "int8"}) expect_type<std::int8_t>(name, Type::INT8, -128, 127);
  for (char const* name : {"uchar", "uint8"}) expect_type<std::uint8_t>(name, Type::UINT8, 0, 255);
  for (char const* name : {"short", "int16"}) expect_type<std::int16_t>(name, Type::INT16, -32768, 32767);
  for (char const* name : {"ushort", "uint16"}) expect_type<std::uint16_t>(name, Type::UINT16, 0, 65535);
  for (char const* name : {"int", "int32"}) expect_type<std::int32_t>(name, Type::INT32, INT32_MIN, INT32_MAX);
  for (char const* name : {"uint", "uint32"}) expect_type<std::uint32_t>(name, Type::UINT32, 0, UINT32_MAX);
  for (char const* name : {"float", "float32"}) expect_type<float>(name, Type::FLOAT32, -0.1F, 3.4028235e38F);
  for (char const* name : {"double", "float64"}) expect_type<double>(name, Type::FLOAT64, 0.1, 1.7976931348623157e308);
}

// Elements and properties that nobody asked for, lists among them, before, between and behind.
TEST(TinyPly, PassesOverWhatIsNotRequested) {
  std::string const elements =
      "element camera 1\nproperty double a\nproperty list ushort float b\nelement nothing 5\n"
      "element vertex 2\nproperty list int double weights\nproperty int z\nproperty float q\nproperty int x\n"
      "element face 2\nproperty uchar flags\nproperty list uint short vertex_indices\nproperty list char int more\n"
      "element tail 3\nproperty float t\nend_header\n";
  auto const list = [](Bytes& bytes, auto length, auto value) {
    bytes.put(length);
    for (int k = 0; k < static_cast<int>(length); ++k)
      bytes.put(static_cast<decltype(value)>(value + static_cast<decltype(value)>(k)));
  };
  for (int format = 0; format < 3; ++format) {
    std::string text =
        header("ascii", elements) + "1.5 2 1 2\n 3 0 0 0 7 1 8\n0 9 1 10\n 255 4 1 2 3 4 0\n 0 3 5 6 7 2 1 1\n 1 2 3";
    if (format < 2) {
      Bytes bytes(format == 1);
      bytes.put(1.5);
      list(bytes, std::uint16_t{2}, 1.0F);
      list(bytes, std::int32_t{3}, 0.0);
      bytes.put(std::int32_t{7}).put(1.0F).put(std::int32_t{8});
      list(bytes, std::int32_t{0}, 0.0);
      bytes.put(std::int32_t{9}).put(1.0F).put(std::int32_t{10});
      bytes.put(std::uint8_t{255});
      list(bytes, std::uint32_t{4}, std::int16_t{1});
      list(bytes, std::int8_t{0}, std::int32_t{0});
      bytes.put(std::uint8_t{0});
      list(bytes, std::uint32_t{3}, std::int16_t{5});
      list(bytes, std::int8_t{2}, std::int32_t{0});
      bytes.put(1.0F).put(2.0F).put(3.0F);
      text = header(format == 1 ? "binary_big_endian" : "binary_little_endian", elements) + bytes.text();
    }
    std::istringstream stream(text);
    PlyFile file;
    file.parse_header(stream);
    Data const positions = file.request_properties_from_element("vertex", {"x", "z"});
    Data const faces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
    Data const again = file.request_properties_from_element("face", {"vertex_indices"});
    file.read(stream);
    EXPECT_EQ(values<std::int32_t>(positions), (std::vector<std::int32_t>{8, 7, 10, 9}));
    EXPECT_EQ(values<std::int16_t>(faces), (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(values<std::int16_t>(again), values<std::int16_t>(faces));
    EXPECT_EQ(faces->count, 2U);
  }
}

TEST(TinyPly, ReadsNumbersInAnyForm) {
  std::string const elements =
      "element e 1\nproperty float a\nproperty float b\nproperty float c\nproperty int i\nproperty int j\nproperty int "
      "k\nend_header\n";
  std::istringstream stream(header("ascii", elements) + "nan -inf +1.25e-2 +7 3.0 1e3");
  PlyFile file;
  file.parse_header(stream);
  Data const floats = file.request_properties_from_element("e", {"a", "b", "c"});
  Data const integers = file.request_properties_from_element("e", {"i", "j", "k"});
  file.read(stream);
  EXPECT_TRUE(std::isnan(values<float>(floats)[0]));
  EXPECT_EQ(values<float>(floats)[1], -INFINITY);
  EXPECT_EQ(values<float>(floats)[2], 0.0125F);
  EXPECT_EQ(values<std::int32_t>(integers), (std::vector<std::int32_t>{7, 3, 1000}));
}

TEST(TinyPly, RefusesRequestsThatTheHeaderCannotMeet) {
  std::string const elements =
      "element vertex 0\nproperty float x\nproperty double y\nproperty list uchar float l\nend_header\n";
  std::istringstream stream(header("ascii", elements));
  PlyFile file;
  EXPECT_THROW(file.request_properties_from_element("vertex", {"x"}), std::runtime_error);
  EXPECT_THROW(file.read(stream), std::runtime_error);
  file.parse_header(stream);
  EXPECT_THROW(file.request_properties_from_element("face", {"x"}), std::invalid_argument);
  EXPECT_THROW(file.request_properties_from_element("vertex", {"nx"}), std::invalid_argument);
  EXPECT_THROW(file.request_properties_from_element("vertex", {"x", "nx"}), std::invalid_argument);
  EXPECT_THROW(file.request_properties_from_element("vertex", {"x", "y"}), std::invalid_argument);
  EXPECT_THROW(file.request_properties_from_element("vertex", {"x", "l"}), std::invalid_argument);
  EXPECT_THROW(file.request_properties_from_element("vertex", {}), std::invalid_argument);
  Data const empty = file.request_properties_from_element("vertex", {"x"});
  file.read(stream);
  EXPECT_EQ(empty->buffer.size_bytes(), 0U);
}

TEST(TinyPly, RefusesMalformedHeaders) {
  for (std::string const& text :
       {std::string(),
        std::string("\0\0\0\0", 4),
        std::string("plx\n"),
        std::string("ply"),
        std::string("ply\n"),
        std::string("ply\nend_header\n"),
        std::string("ply\nformat text 1.0\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nformat ascii 1.0\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex x\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex -1\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 99999999999999999999999\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nproperty float x\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 1\nproperty vector x\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 1\nproperty float\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 1\nproperty list float int x\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 1\nproperty list uchar x\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nsomething\nend_header\n"),
        std::string("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"),
        "ply\ncomment " + std::string(std::size_t{2} << 20, 'x')}) {
    std::istringstream stream(text);
    PlyFile file;
    EXPECT_THROW(file.parse_header(stream), std::runtime_error) << text.substr(0, 200);
  }
}

TEST(TinyPly, NoticesEveryTruncation) {
  for (std::string const& whole : {binary_mesh(false), binary_mesh(true), text_mesh()}) {
    ASSERT_EQ(import_mesh(whole).problem, "");
    // Without its last line end a text file is whole.
    std::size_t const length = whole.size() - (whole == text_mesh() ? 2 : 1);
    for (std::size_t size = 0; size <= length; ++size) {
      Import const mesh = import_mesh(whole.substr(0, size));
      EXPECT_NE(mesh.problem, "") << size;
      if (mesh.faces != nullptr) {
        EXPECT_EQ(mesh.faces->buffer.size_bytes(), 0U);
      }
    }
  }
}

TEST(TinyPly, RefusesMalformedBodies) {
  std::string const elements =
      "element vertex 1\nproperty float x\nproperty float y\nproperty float z\nelement face 1\nproperty list char "
      "uchar vertex_indices\nend_header\n";
  for (char const* body :
       {"1 2 x 3 0 0 0", "1 2 3x 3 0 0 0", "1 2 3 -1 0 0 0", "1 2 3 200 0 0 0", "1 2 3 3 0 0 256", "1 2 3 3 0 0 0.5",
        "1 2 3 3 0 0 -1", "1 2 3 3 0 0 1e30", "1 2 3 3 0 0 nan", "1 2 3 3 0 0 99999999999999", "1 2 3 3 0 0 0x1"}) {
    EXPECT_NE(import_mesh(header("ascii", elements) + body).problem, "") << body;
  }
  Bytes bytes(false);
  bytes.put(1.0F).put(2.0F).put(3.0F).put(std::int8_t{-1});
  EXPECT_NE(import_mesh(header("binary_little_endian", elements) + bytes.text()).problem, "");
  EXPECT_NE(import_mesh(header("ascii", elements) + "1 2 " + std::string(100000, '1')).problem, "");
}

// Counts that no memory holds: the answer has to come from the length of the body.
TEST(TinyPly, BelievesNoCountThatTheBodyCannotHold) {
  for (char const* format : {"ascii", "binary_little_endian", "binary_big_endian"}) {
    for (char const* count : {"4000000000", "1000000000000000000", "18446744073709551609"}) {
      std::string const elements = std::string("element vertex ") + count +
                                   "\nproperty float x\nproperty float y\nproperty float z\nelement face " + count +
                                   "\nproperty list uchar int vertex_indices\nend_header\n";
      EXPECT_NE(import_mesh(header(format, elements) + "0 0 0 0 0 0 0 0 0 0 0 0 0 0 ").problem, "") << format;
      std::string const faces =
          std::string("element vertex 0\nproperty float x\nproperty float y\nproperty float z\nelement face ") + count +
          "\nproperty list uint int vertex_indices\nend_header\n";
      EXPECT_NE(import_mesh(header(format, faces) + "\xFF\xFF\xFF\xFF\xFF 1 2 3").problem, "") << format;
    }
    // Elements without properties take no bytes, however many there are.
    std::string const nothing = "element nothing 18446744073709551609\n";
    std::string const rest =
        "element vertex 0\nproperty float x\nproperty float y\nproperty float z\nelement face 0\nproperty list uchar "
        "int vertex_indices\nend_header\n";
    EXPECT_EQ(import_mesh(header(format, nothing + rest)).problem, "") << format;
  }
}

// A stream that cannot seek and gives a few bytes at a time.
class Trickle : public std::streambuf {
 public:
  explicit Trickle(std::string text) : text_(std::move(text)) {}

 private:
  int_type underflow() override {
    if (at_ == text_.size()) return traits_type::eof();
    std::size_t const count = std::min<std::size_t>(7, text_.size() - at_);
    setg(text_.data() + at_, text_.data() + at_, text_.data() + at_ + count);
    at_ += count;
    return traits_type::to_int_type(*gptr());
  }
  std::string text_;
  std::size_t at_ = 0;
};

TEST(TinyPly, ReadsStreamsThatCannotSeek) {
  for (std::string const& text : {binary_mesh(false), binary_mesh(true), text_mesh()}) {
    for (bool const cut : {false, true}) {
      Trickle trickle(text.substr(0, text.size() - (cut ? 3 : 0)));
      std::istream stream(&trickle);
      PlyFile file;
      file.parse_header(stream);
      Data const positions = file.request_properties_from_element("vertex", {"x", "y", "z"});
      Data const faces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
      if (cut) {
        EXPECT_THROW(file.read(stream), std::runtime_error);
        continue;
      }
      file.read(stream);
      EXPECT_EQ(values<std::int32_t>(faces), (std::vector<std::int32_t>{0, 1, 2, 0, 1, 2}));
    }
  }
}

// Words and rows that lie across the borders of blocks.
TEST(TinyPly, ReadsLargeBodies) {
  std::size_t const count = 100000;
  std::string const elements = "element vertex " + std::to_string(count) +
                               "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                               std::to_string(count) + "\nproperty list uchar uint vertex_indices\nend_header\n";
  std::vector<float> positions;
  std::vector<std::uint32_t> indices;
  std::string text;
  Bytes bytes(true);
  for (std::size_t k = 0; k < count * 3; ++k) {
    positions.push_back(static_cast<float>(k) * 0.25F);
    text += std::to_string(k / 4) +
            (k % 4 == 0   ? ""
             : k % 4 == 1 ? ".25"
             : k % 4 == 2 ? ".5"
                          : ".75") +
            (k % 3 == 2 ? "\n" : " ");
    bytes.put(positions.back());
  }
  for (std::size_t k = 0; k < count; ++k) {
    text += "3";
    bytes.put(std::uint8_t{3});
    for (std::size_t c = 0; c < 3; ++c) {
      indices.push_back(static_cast<std::uint32_t>((k * 7 + c * 31) % count));
      text.append(" ").append(std::to_string(indices.back()));
      bytes.put(indices.back());
    }
    text += "\n";
  }
  for (std::string const& whole :
       {header("ascii", elements) + text, header("binary_big_endian", elements) + bytes.text()}) {
    Import const mesh = import_mesh(whole);
    ASSERT_EQ(mesh.problem, "");
    EXPECT_EQ(values<float>(mesh.positions), positions);
    EXPECT_EQ(values<std::uint32_t>(mesh.faces), indices);
  }
}

TEST(TinyPly, ReadsTheSharedHorse) {
  char const* const variable = std::getenv("MIREL_SHARED");
  std::filesystem::path const path =
      std::filesystem::path(variable != nullptr ? variable : "../shared") / "models/horse.ply";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no " << path;
  std::ifstream stream(path, std::ios::binary);
  PlyFile file;
  file.parse_header(stream);
  Data const positions = file.request_properties_from_element("vertex", {"x", "y", "z"});
  Data const normals = file.request_properties_from_element("vertex", {"nx", "ny", "nz"});
  EXPECT_THROW(file.request_properties_from_element("vertex", {"u", "v"}), std::invalid_argument);
  Data const faces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
  file.read(stream);
  EXPECT_FALSE(stream.fail());
  EXPECT_EQ(positions->buffer.size_bytes(), 48485U * 12);
  EXPECT_EQ(normals->buffer.size_bytes(), 48485U * 12);
  ASSERT_EQ(faces->buffer.size_bytes(), 96966U * 12);
  for (std::uint32_t const index : values<std::uint32_t>(faces)) ASSERT_LT(index, 48485U);
  std::vector<float> const all = values<float>(normals);
  // Not of unit length in this file, but a byte off would show.
  for (std::size_t k = 0; k < all.size(); k += 3) {
    float const length = std::hypot(all[k], all[k + 1], all[k + 2]);
    ASSERT_TRUE(length > 1e-3F && length < 20) << k / 3;
  }
}

}  // namespace
