// guard_timing FACES TOLERANCE [MODEL.obj]: what the deviation guard costs under a plain quadric reduction.
//
// Reduces a bumpy sphere of about FACES faces, or the triangles of an OBJ file, by edge collapses in the order of a
// quadric cost (Garland and Heckbert 1997) until the guard refuses every edge that is left. TOLERANCE is relative to
// the diagonal of the bounding box. The collapser here is the least that gives the guard realistic questions: no
// attributes, no border handling, a binary heap. Printed: questions, answers, processor time within the
// guard, faces left.
#include <time.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <queue>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/engine/deviation/deviation_guard.h"

namespace {

using mirel::engine::ChangedFace;
using mirel::engine::DeviationGuard;
using mirel::engine::Point;

// Of this thread, in seconds: what the machine does besides does not count.
double processor_time() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Mesh {
  std::vector<float> positions;
  std::vector<std::uint32_t> faces;

  Point point(std::uint32_t v) const {
    return {positions[3 * std::size_t{v}], positions[3 * std::size_t{v} + 1], positions[3 * std::size_t{v} + 2]};
  }
};

Mesh bumpy_sphere(std::size_t face_count) {
  Mesh mesh;
  auto const rings = static_cast<std::uint32_t>(std::sqrt(static_cast<double>(face_count) / 4)) + 2;
  std::uint32_t const sides = 2 * rings;
  double const pi = std::acos(-1.0);
  auto const add = [&](double theta, double phi) {
    double const x = std::sin(theta) * std::cos(phi);
    double const y = std::sin(theta) * std::sin(phi);
    double const z = std::cos(theta);
    double const bumps = 0.05 * std::sin(11 * x + 2) * std::sin(9 * y) * std::cos(8 * z) +
                         0.003 * std::sin(71 * x) * std::sin(63 * y + 1) * std::sin(67 * z);
    for (double const c : {x, y, z}) mesh.positions.push_back(static_cast<float>(c * (1 + bumps)));
  };
  add(0, 0);
  for (std::uint32_t j = 1; j < rings; ++j) {
    for (std::uint32_t i = 0; i < sides; ++i) add(pi * j / rings, 2 * pi * i / sides);
  }
  add(pi, 0);
  std::uint32_t const last = 1 + (rings - 1) * sides;
  auto const face = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    mesh.faces.insert(mesh.faces.end(), {a, b, c});
  };
  for (std::uint32_t i = 0; i < sides; ++i) face(0, 1 + i, 1 + (i + 1) % sides);
  for (std::uint32_t j = 0; j + 2 < rings; ++j) {
    for (std::uint32_t i = 0; i < sides; ++i) {
      std::uint32_t const row = 1 + j * sides;
      std::uint32_t const next = (i + 1) % sides;
      face(row + i, row + sides + i, row + sides + next);
      face(row + i, row + sides + next, row + next);
    }
  }
  for (std::uint32_t i = 0; i < sides; ++i) face(last, last - sides + (i + 1) % sides, last - sides + i);
  return mesh;
}

Mesh read_obj(char const* path) {
  Mesh mesh;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "v") {
      float c = 0;
      for (int k = 0; k < 3; ++k) {
        words >> c;
        mesh.positions.push_back(c);
      }
    } else if (word == "f") {
      std::vector<std::uint32_t> corners;
      while (words >> word) corners.push_back(static_cast<std::uint32_t>(std::stoul(word)) - 1);
      for (std::size_t i = 2; i < corners.size(); ++i) {
        mesh.faces.insert(mesh.faces.end(), {corners[0], corners[i - 1], corners[i]});
      }
    }
  }
  return mesh;
}

// The symmetric 4 x 4 matrix of a sum of squared plane distances: xx xy xz xw yy yz yw zz zw ww.
struct Quadric {
  std::array<double, 10> q{};

  void add_plane(double a, double b, double c, double d, double weight) {
    std::array<double, 4> const p{a, b, c, d};
    std::size_t n = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      for (std::size_t j = i; j < 4; ++j) q[n++] += weight * p[i] * p[j];
    }
  }
  void add(Quadric const& other) {
    for (std::size_t i = 0; i < 10; ++i) q[i] += other.q[i];
  }
  double at(double x, double y, double z) const {
    return q[0] * x * x + q[4] * y * y + q[7] * z * z + q[9] +
           2 * (q[1] * x * y + q[2] * x * z + q[3] * x + q[5] * y * z + q[6] * y + q[8] * z);
  }
};

class Collapser {
 public:
  Collapser(Mesh mesh, float tolerance)
      : mesh_(std::move(mesh)), guard_(mesh_.positions, mesh_.faces, tolerance), live_(mesh_.faces.size() / 3, 1) {
    std::size_t const vertices = mesh_.positions.size() / 3;
    stars_.resize(vertices);
    quadrics_.resize(vertices);
    version_.resize(vertices, 0);
    for (std::uint32_t f = 0; f < live_.size(); ++f) {
      auto const n = normal(corners(f));
      double const area = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
      Point const p = corners(f)[0];
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const v = mesh_.faces[3 * std::size_t{f} + k];
        stars_[v].push_back(f);
        if (area > 0) {
          double const d = -(n[0] * p[0] + n[1] * p[1] + n[2] * p[2]) / area;
          quadrics_[v].add_plane(n[0] / area, n[1] / area, n[2] / area, d, area);
        }
      }
    }
    for (std::uint32_t v = 0; v < vertices; ++v) {
      for (std::uint32_t const w : ring(v)) {
        if (v < w) push(v, w);
      }
    }
  }

  void run() {
    std::size_t live = live_.size();
    while (!queue_.empty()) {
      Entry const e = queue_.top();
      queue_.pop();
      if (version_[e.a] != e.version_a || version_[e.b] != e.version_b) continue;
      live -= collapse(e);
    }
    double const microseconds = seconds_ * 1e6;
    std::printf("faces %zu -> %zu  questions %zu  yes %zu  guard %.2f s, %.2f us a question; bound %.3g\n",
                live_.size(), live, questions_, yes_, seconds_,
                microseconds / static_cast<double>(std::max<std::size_t>(questions_, 1)), guard_.bound());
    for (std::size_t i = 0; i < refused_at_.size(); ++i) {
      if (asked_at_[i] == 0) continue;
      std::printf("  down to %6.3f %% of the faces: %8zu questions, %8zu refused, %7.2f us each\n",
                  100 * std::pow(0.5, static_cast<double>(i) + 1), asked_at_[i], refused_at_[i],
                  1e6 * seconds_at_[i] / static_cast<double>(asked_at_[i]));
    }
  }

 private:
  struct Entry {
    double cost;
    std::uint32_t a, b, version_a, version_b;
    Point target;
    bool operator<(Entry const& other) const { return cost > other.cost; }
  };

  std::array<Point, 3> corners(std::uint32_t f) const {
    return {mesh_.point(mesh_.faces[3 * std::size_t{f}]), mesh_.point(mesh_.faces[3 * std::size_t{f} + 1]),
            mesh_.point(mesh_.faces[3 * std::size_t{f} + 2])};
  }
  static std::array<double, 3> normal(std::array<Point, 3> const& t) {
    std::array<double, 3> u{};
    std::array<double, 3> w{};
    for (std::size_t k = 0; k < 3; ++k) {
      u[k] = static_cast<double>(t[1][k]) - t[0][k];
      w[k] = static_cast<double>(t[2][k]) - t[0][k];
    }
    return {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
  }
  std::vector<std::uint32_t> ring(std::uint32_t v) const {
    std::vector<std::uint32_t> result;
    for (std::uint32_t const f : stars_[v]) {
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const w = mesh_.faces[3 * std::size_t{f} + k];
        if (w != v) result.push_back(w);
      }
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
  }

  void push(std::uint32_t a, std::uint32_t b) {
    Quadric sum = quadrics_[a];
    sum.add(quadrics_[b]);
    Point const pa = mesh_.point(a);
    Point const pb = mesh_.point(b);
    // The least cost of nine points on the edge and of the minimum along its normal direction is plenty here.
    Entry best{1e300, a, b, version_[a], version_[b], pa};
    auto const consider = [&](double x, double y, double z) {
      double const cost = sum.at(x, y, z);
      if (cost < best.cost) {
        best.cost = cost;
        best.target = {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
      }
    };
    for (int i = 0; i <= 2; ++i) {
      double const t = i / 2.0;
      consider(pa[0] + t * (pb[0] - pa[0]), pa[1] + t * (pb[1] - pa[1]), pa[2] + t * (pb[2] - pa[2]));
    }
    auto const& q = sum.q;
    double const c00 = q[4] * q[7] - q[5] * q[5];
    double const c01 = q[2] * q[5] - q[1] * q[7];
    double const c02 = q[1] * q[5] - q[2] * q[4];
    double const determinant = q[0] * c00 + q[1] * c01 + q[2] * c02;
    double const trace = q[0] + q[4] + q[7];
    if (std::fabs(determinant) > 1e-6 * trace * trace * trace) {
      double const c11 = q[0] * q[7] - q[2] * q[2];
      double const c12 = q[1] * q[2] - q[0] * q[5];
      double const c22 = q[0] * q[4] - q[1] * q[1];
      consider(-(c00 * q[3] + c01 * q[6] + c02 * q[8]) / determinant,
               -(c01 * q[3] + c11 * q[6] + c12 * q[8]) / determinant,
               -(c02 * q[3] + c12 * q[6] + c22 * q[8]) / determinant);
    }
    queue_.push(best);
  }

  std::size_t collapse(Entry const& e) {
    removed_.clear();
    changed_.clear();
    std::vector<std::uint32_t> const ring_a = ring(e.a);
    std::vector<std::uint32_t> const ring_b = ring(e.b);
    std::vector<std::uint32_t> common;
    std::set_intersection(ring_a.begin(), ring_a.end(), ring_b.begin(), ring_b.end(), std::back_inserter(common));
    for (std::uint32_t const v : {e.a, e.b}) {
      std::uint32_t const partner = v == e.a ? e.b : e.a;
      for (std::uint32_t const f : stars_[v]) {
        ChangedFace face{f, corners(f)};
        bool shared = false;
        for (std::size_t k = 0; k < 3; ++k) {
          std::uint32_t const w = mesh_.faces[3 * std::size_t{f} + k];
          shared = shared || w == partner;
          if (w == v) face.corners[k] = e.target;
        }
        if (shared) {
          if (v == e.a) removed_.push_back(f);
          continue;
        }
        auto const n = normal(corners(f));
        auto const m = normal(face.corners);
        double const nn = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
        double const mm = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
        if (!(n[0] * m[0] + n[1] * m[1] + n[2] * m[2] > 0.2 * std::sqrt(nn * mm))) return 0;
        changed_.push_back(face);
      }
    }
    if (common.size() != removed_.size() || changed_.size() < 2) return 0;
    neighbours_.clear();
    for (std::vector<std::uint32_t> const* list : {&ring_a, &ring_b}) {
      for (std::uint32_t const v : *list) neighbours_.insert(neighbours_.end(), stars_[v].begin(), stars_[v].end());
    }
    ++questions_;
    double const begin = processor_time();
    bool const yes = guard_.permits(removed_, changed_, neighbours_);
    if (yes) guard_.commit();
    double const took = processor_time() - begin;
    seconds_ += took;
    std::size_t level = 0;
    while (level + 1 < refused_at_.size() && live_.size() - 2 * yes_ < (live_.size() >> (level + 1))) ++level;
    ++asked_at_[level];
    seconds_at_[level] += took;
    if (!yes) {
      ++refused_at_[level];
      return 0;
    }
    ++yes_;
    std::size_t const gone = removed_.size();
    for (std::uint32_t const f : removed_) {
      live_[f] = 0;
      for (std::size_t k = 0; k < 3; ++k) std::erase(stars_[mesh_.faces[3 * std::size_t{f} + k]], f);
    }
    for (std::uint32_t const f : stars_[e.b]) {
      std::replace(mesh_.faces.begin() + 3 * std::ptrdiff_t{f}, mesh_.faces.begin() + 3 * std::ptrdiff_t{f} + 3, e.b,
                   e.a);
      stars_[e.a].push_back(f);
    }
    stars_[e.b].clear();
    std::copy(e.target.begin(), e.target.end(), mesh_.positions.begin() + 3 * std::ptrdiff_t{e.a});
    quadrics_[e.a].add(quadrics_[e.b]);
    ++version_[e.a];
    ++version_[e.b];
    for (std::uint32_t const v : ring(e.a)) push(e.a, v);
    return gone;
  }

  Mesh mesh_;
  DeviationGuard guard_;
  std::vector<char> live_;
  std::vector<std::vector<std::uint32_t>> stars_;
  std::vector<Quadric> quadrics_;
  std::vector<std::uint32_t> version_;
  std::priority_queue<Entry> queue_;
  std::vector<std::uint32_t> removed_;
  std::vector<ChangedFace> changed_;
  std::vector<std::uint32_t> neighbours_;
  std::size_t questions_ = 0;
  std::size_t yes_ = 0;
  double seconds_ = 0;
  // By halvings of the face count.
  std::array<std::size_t, 12> asked_at_{};
  std::array<std::size_t, 12> refused_at_{};
  std::array<double, 12> seconds_at_{};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: guard_timing FACES TOLERANCE [MODEL.obj]\n");
    return 1;
  }
  Mesh mesh = argc > 3 ? read_obj(argv[3]) : bumpy_sphere(static_cast<std::size_t>(std::atof(argv[1])));
  double squared = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double low = 1e300;
    double high = -1e300;
    for (std::size_t i = k; i < mesh.positions.size(); i += 3) {
      low = std::min<double>(low, mesh.positions[i]);
      high = std::max<double>(high, mesh.positions[i]);
    }
    squared += (high - low) * (high - low);
  }
  auto const tolerance = static_cast<float>(std::atof(argv[2]) * std::sqrt(squared));
  double const begin = processor_time();
  {
    DeviationGuard const alone(mesh.positions, mesh.faces, tolerance);
    std::printf("guard made in %.2f s\n", processor_time() - begin);
  }
  Collapser collapser(std::move(mesh), tolerance);
  collapser.run();
  return 0;
}
