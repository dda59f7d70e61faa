#include "standalone/compare/heat_map.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace mirel::compare {

namespace {

constexpr std::array<std::array<float, 3>, 6> kStops{
    {{38, 24, 120}, {33, 102, 210}, {40, 180, 190}, {90, 200, 80}, {245, 205, 60}, {200, 30, 30}}};
constexpr std::array<std::uint8_t, 3> kUnknown{128, 128, 128};
constexpr std::size_t kFlushBytes = std::size_t{1} << 20U;

static_assert(std::endian::native == std::endian::little, "the PLY writer copies numbers as they lie in memory");

class File {
 public:
  explicit File(char const* path) : file_(std::fopen(path, "wb")), good_(file_ != nullptr) {
    if (!good_) error_ = errno;
    buffer_.reserve(kFlushBytes + 256);
  }
  File(File const&) = delete;
  File& operator=(File const&) = delete;
  ~File() {
    if (file_ != nullptr) std::fclose(file_);
  }

  void put(void const* bytes, std::size_t count) {
    std::size_t const at = buffer_.size();
    buffer_.resize(at + count);
    std::memcpy(buffer_.data() + at, bytes, count);
    if (buffer_.size() >= kFlushBytes) flush();
  }

  // Sets errno where it fails.
  bool finish() {
    flush();
    check(file_ == nullptr || std::fflush(file_) == 0);
    // A pipe or a device cannot be synchronised, and need not be.
    if (good_ && fsync(fileno(file_)) != 0) check(errno == EINVAL || errno == ENOTSUP);
    if (file_ != nullptr) check(std::fclose(file_) == 0);
    file_ = nullptr;
    if (!good_) errno = error_;
    return good_;
  }

 private:
  void flush() {
    if (good_) check(std::fwrite(buffer_.data(), 1, buffer_.size(), file_) == buffer_.size());
    buffer_.clear();
  }
  void check(bool success) {
    if (success || !good_) return;
    error_ = errno;
    good_ = false;
  }

  std::FILE* file_;
  bool good_;
  int error_ = 0;
  std::vector<char> buffer_;
};

}  // namespace

std::array<std::uint8_t, 3> heat_color(float share) {
  if (std::isnan(share)) return kUnknown;
  float const place = std::clamp(share, 0.0F, 1.0F) * static_cast<float>(kStops.size() - 1);
  std::size_t const below = std::min(static_cast<std::size_t>(place), kStops.size() - 2);
  float const t = place - static_cast<float>(below);
  std::array<std::uint8_t, 3> color{};
  for (std::size_t k = 0; k < 3; ++k) {
    float const value = kStops[below][k] + t * (kStops[below + 1][k] - kStops[below][k]);
    color[k] = static_cast<std::uint8_t>(std::lround(value));
  }
  return color;
}

bool write_ply(char const* path, HeatMap const& map) {
  File file(path);
  std::string const header =
      "ply\nformat binary_little_endian 1.0\ncomment distance: model units\nelement vertex " +
      std::to_string(map.distances.size()) +
      "\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\nproperty uchar green\n"
      "property uchar blue\nproperty float distance\nelement face " +
      std::to_string(map.faces.size() / 3) + "\nproperty list uchar int vertex_indices\nend_header\n";
  file.put(header.data(), header.size());
  for (std::size_t i = 0; i < map.distances.size(); ++i) {
    std::array<std::uint8_t, 3> const color = heat_color(map.distances[i] / map.high);
    file.put(&map.positions[3 * i], 3 * sizeof(float));
    file.put(color.data(), color.size());
    file.put(&map.distances[i], sizeof(float));
  }
  std::uint8_t const corners = 3;
  for (std::size_t f = 0; f + 2 < map.faces.size(); f += 3) {
    file.put(&corners, 1);
    file.put(&map.faces[f], 3 * sizeof(std::uint32_t));
  }
  return file.finish();
}

}  // namespace mirel::compare
