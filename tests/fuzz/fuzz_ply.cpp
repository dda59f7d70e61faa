// Any bytes as a PLY file, asked for what the importer asks for, and for everything that the header offers.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/ply/tinyply.h"

namespace {

void read_as_importer(std::string const& text) {
  std::istringstream stream(text);
  tinyply::PlyFile file;
  file.parse_header(stream);
  std::vector<std::shared_ptr<tinyply::PlyData>> requested;
  auto const request = [&](char const* element, std::vector<std::string> const& properties, std::uint32_t hint) {
    try {
      requested.push_back(file.request_properties_from_element(element, properties, hint));
    } catch (std::exception const&) {
    }
  };
  request("vertex", {"x", "y", "z"}, 0);
  request("vertex", {"nx", "ny", "nz"}, 0);
  request("vertex", {"u", "v"}, 0);
  request("face", {"vertex_indices"}, 3);
  file.read(stream);
  if (stream.fail()) std::abort();
  for (auto const& data : requested) {
    // Scalars fill their rows exactly; a body that was read has no bytes that the file has not.
    static constexpr std::size_t kSizes[] = {0, 1, 1, 2, 2, 4, 4, 4, 8};
    std::size_t const value_size = kSizes[static_cast<std::size_t>(data->t)];
    if (data->buffer.size_bytes() % value_size != 0 || data->buffer.size_bytes() > text.size() * 8) std::abort();
    if (!data->isList && data->count > 0 && data->buffer.size_bytes() % data->count != 0) std::abort();
  }
}

void read_everything(std::string const& text) {
  std::istringstream stream(text);
  tinyply::PlyFile file;
  file.parse_header(stream);
  for (tinyply::PlyElement const& element : file.get_elements()) {
    for (tinyply::PlyProperty const& property : element.properties) {
      file.request_properties_from_element(element.name, {property.name}, property.isList ? 4 : 0);
    }
  }
  file.read(stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  for (auto* read : {read_as_importer, read_everything}) {
    try {
      read(text);
    } catch (std::bad_alloc const&) {
      std::abort();
    } catch (std::exception const&) {
    }
  }
  return 0;
}
