#include "benchmarks/pictures/renderer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirel::pictures {

namespace {

constexpr std::uint32_t kSamples = 3;  // in each direction
constexpr double kAmbient = 0.3;
constexpr float kBackground = 96;

double dot(Direction const& a, Direction const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
Direction cross(Direction const& a, Direction const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Direction unit(Direction a) {
  double const length = std::sqrt(dot(a, a));
  if (length > 0) {
    for (double& c : a) c /= length;
  }
  return a;
}

struct Axes {
  Direction right, up, towards;
  Direction light;
};

Axes axes_of(Camera const& camera) {
  Axes axes;
  axes.towards = unit(camera.towards);
  Direction const above = std::abs(axes.towards[1]) < 0.95 ? Direction{0, 1, 0} : Direction{1, 0, 0};
  axes.right = unit(cross(above, axes.towards));
  axes.up = cross(axes.towards, axes.right);
  for (std::size_t k = 0; k < 3; ++k) axes.light[k] = axes.towards[k] - 0.5 * axes.right[k] + 0.6 * axes.up[k];
  axes.light = unit(axes.light);
  return axes;
}

Direction row(std::vector<float> const& values, std::size_t i) {
  return {double{values[3 * i]}, double{values[3 * i + 1]}, double{values[3 * i + 2]}};
}

std::array<double, 3> texel(Texture const& texture, double u, double v) {
  double const x = (u - std::floor(u)) * texture.width - 0.5;
  double const y = (1 - (v - std::floor(v))) * texture.height - 0.5;
  double const fx = x - std::floor(x);
  double const fy = y - std::floor(y);
  auto const wrap = [](double c, std::uint32_t size) {
    auto const whole = static_cast<std::int64_t>(std::floor(c)) % std::int64_t{size};
    return static_cast<std::size_t>(whole < 0 ? whole + std::int64_t{size} : whole);
  };
  std::size_t const x0 = wrap(x, texture.width);
  std::size_t const x1 = (x0 + 1) % texture.width;
  std::size_t const y0 = wrap(y, texture.height) * texture.width;
  std::size_t const y1 = wrap(y + 1, texture.height) * texture.width;
  std::array<double, 3> colour{};
  for (std::size_t k = 0; k < 3; ++k) {
    auto const at = [&](std::size_t i) { return double{static_cast<float>(texture.rgb[3 * i + k])}; };
    colour[k] =
        (1 - fy) * ((1 - fx) * at(y0 + x0) + fx * at(y0 + x1)) + fy * ((1 - fx) * at(y1 + x0) + fx * at(y1 + x1));
  }
  return colour;
}

}  // namespace

std::array<Camera, 8> cameras_around(TexturedMesh const& mesh) {
  std::array<double, 3> low;
  std::array<double, 3> high;
  low.fill(std::numeric_limits<double>::infinity());
  high.fill(-std::numeric_limits<double>::infinity());
  for (std::uint32_t const vertex : mesh.faces) {
    for (std::size_t k = 0; k < 3; ++k) {
      double const c = mesh.positions[3 * std::size_t{vertex} + k];
      low[k] = std::min(low[k], c);
      high[k] = std::max(high[k], c);
    }
  }
  Camera camera;
  double diagonal2 = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    camera.centre[k] = (low[k] + high[k]) / 2;
    diagonal2 += (high[k] - low[k]) * (high[k] - low[k]);
  }
  camera.reach = 0.5 * std::sqrt(diagonal2);
  std::array<Camera, 8> cameras;
  for (std::size_t i = 0; i < 8; ++i) {
    camera.towards = unit({(i & 1) != 0 ? 1.0 : -1.0, (i & 2) != 0 ? 0.7 : -0.7, (i & 4) != 0 ? 0.9 : -0.9});
    cameras[i] = camera;
  }
  return cameras;
}

Picture draw(TexturedMesh const& mesh, std::span<Texture const> textures, Camera const& camera, std::uint32_t size) {
  Axes const axes = axes_of(camera);
  std::uint32_t const wide = size * kSamples;
  double const scale = wide / (2 * camera.reach);
  std::vector<float> depth(std::size_t{wide} * wide, -std::numeric_limits<float>::infinity());
  std::vector<float> colours(std::size_t{wide} * wide * 3, kBackground);

  std::vector<Direction> screen(mesh.vertex_count());
  for (std::size_t v = 0; v < screen.size(); ++v) {
    Direction p = row(mesh.positions, v);
    for (std::size_t k = 0; k < 3; ++k) p[k] -= camera.centre[k];
    screen[v] = {wide / 2.0 + scale * dot(p, axes.right), wide / 2.0 - scale * dot(p, axes.up), dot(p, axes.towards)};
  }
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    std::uint32_t const* const corners = mesh.faces.data() + 3 * std::size_t{f};
    Direction const& a = screen[corners[0]];
    Direction const& b = screen[corners[1]];
    Direction const& c = screen[corners[2]];
    double const area = (b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]);
    if (area == 0) continue;
    Texture const& texture = textures[mesh.textures[f]];
    auto const bound = [wide](double x) {
      return static_cast<std::uint32_t>(std::clamp(std::ceil(x - 0.5), 0.0, static_cast<double>(wide)));
    };
    std::uint32_t const x_end = bound(std::max({a[0], b[0], c[0]}) + 1);
    std::uint32_t const y_end = bound(std::max({a[1], b[1], c[1]}) + 1);
    for (std::uint32_t y = bound(std::min({a[1], b[1], c[1]})); y < y_end; ++y) {
      for (std::uint32_t x = bound(std::min({a[0], b[0], c[0]})); x < x_end; ++x) {
        double const px = x + 0.5;
        double const py = y + 0.5;
        std::array<double, 3> const w = {
            ((b[0] - px) * (c[1] - py) - (c[0] - px) * (b[1] - py)) / area,
            ((c[0] - px) * (a[1] - py) - (a[0] - px) * (c[1] - py)) / area,
            ((a[0] - px) * (b[1] - py) - (b[0] - px) * (a[1] - py)) / area,
        };
        if (w[0] < 0 || w[1] < 0 || w[2] < 0) continue;
        std::size_t const pixel = std::size_t{y} * wide + x;
        auto const z = static_cast<float>(w[0] * a[2] + w[1] * b[2] + w[2] * c[2]);
        if (z <= depth[pixel]) continue;
        depth[pixel] = z;
        double u = 0;
        double v = 0;
        Direction normal{};
        for (std::size_t k = 0; k < 3; ++k) {
          u += w[k] * double{mesh.uvs[2 * std::size_t{corners[k]}]};
          v += w[k] * double{mesh.uvs[2 * std::size_t{corners[k]} + 1]};
          Direction const n = row(mesh.normals, corners[k]);
          for (std::size_t i = 0; i < 3; ++i) normal[i] += w[k] * n[i];
        }
        normal = unit(normal);
        // Seen from behind, a face has the other normal: counter-clockwise in space is clockwise on the screen.
        double const side = area < 0 ? 1 : -1;
        double const light = kAmbient + (1 - kAmbient) * std::max(0.0, side * dot(normal, axes.light));
        std::array<double, 3> const colour = texel(texture, u, v);
        for (std::size_t k = 0; k < 3; ++k) colours[3 * pixel + k] = static_cast<float>(light * colour[k]);
      }
    }
  }

  Picture picture;
  picture.width = size;
  picture.height = size;
  picture.rgb.assign(3 * picture.pixels(), 0);
  picture.covered.assign(picture.pixels(), 0);
  constexpr float kShare = 1.0F / (kSamples * kSamples);
  for (std::uint32_t y = 0; y < wide; ++y) {
    for (std::uint32_t x = 0; x < wide; ++x) {
      std::size_t const pixel = std::size_t{y / kSamples} * size + x / kSamples;
      std::size_t const sample = std::size_t{y} * wide + x;
      for (std::size_t k = 0; k < 3; ++k) picture.rgb[3 * pixel + k] += kShare * colours[3 * sample + k];
      if (depth[sample] > -std::numeric_limits<float>::infinity()) picture.covered[pixel] = 1;
    }
  }
  return picture;
}

}  // namespace mirel::pictures
