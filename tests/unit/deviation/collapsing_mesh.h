// A triangle mesh with random half-way and endpoint edge collapses under a guard, the sample models, and a distance
// measure of its own: brute force over all triangles, so that it shares nothing with what it checks.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "standalone/engine/deviation/deviation_guard.h"
#include "tests/unit/triangle_mesh.h"

namespace mirel::engine::test {

using mirel::test::grid;
using mirel::test::Mesh;
using mirel::test::sphere;

using Triangle = std::array<std::array<double, 3>, 3>;

// The triangles of an OBJ of the sample models; nothing when they are not there.
inline std::optional<Mesh> shared_model(std::string const& name) {
  char const* folder = std::getenv("MIREL_SHARED");
  std::ifstream file((folder != nullptr ? std::string(folder) : std::string("../shared")) + "/models/" + name);
  if (!file) return std::nullopt;
  Mesh mesh;
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "v") {
      double x = 0, y = 0, z = 0;
      words >> x >> y >> z;
      mesh.add_point(x, y, z);
    } else if (word == "f") {
      std::vector<std::uint32_t> corners;
      while (words >> word) corners.push_back(static_cast<std::uint32_t>(std::stoul(word)) - 1);
      for (std::size_t i = 2; i < corners.size(); ++i) mesh.add_face(corners[0], corners[i - 1], corners[i]);
    }
  }
  return mesh;
}

// A handful of numbers in ascending order. In one piece of memory: random collapses are tried a million times.
class Numbers {
 public:
  void insert(std::uint32_t number) {
    auto const place = std::lower_bound(numbers_.begin(), numbers_.end(), number);
    if (place == numbers_.end() || *place != number) numbers_.insert(place, number);
  }
  void insert(Numbers const& others) {
    for (std::uint32_t const number : others) insert(number);
  }
  void erase(std::uint32_t number) {
    if (holds(number)) numbers_.erase(std::lower_bound(numbers_.begin(), numbers_.end(), number));
  }
  void clear() { numbers_.clear(); }
  bool holds(std::uint32_t number) const { return std::binary_search(numbers_.begin(), numbers_.end(), number); }
  std::size_t size() const { return numbers_.size(); }
  std::vector<std::uint32_t>::const_iterator begin() const { return numbers_.begin(); }
  std::vector<std::uint32_t>::const_iterator end() const { return numbers_.end(); }
  std::vector<std::uint32_t> const& list() const { return numbers_; }

 private:
  std::vector<std::uint32_t> numbers_;
};

// A mesh that is reduced by collapses which a guard is asked about.
class CollapsingMesh {
 public:
  explicit CollapsingMesh(Mesh mesh) : mesh_(std::move(mesh)), stars_(mesh_.positions.size() / 3) {
    for (std::uint32_t f = 0; f < mesh_.face_count(); ++f) {
      for (std::size_t k = 0; k < 3; ++k) stars_[mesh_.faces[3 * std::size_t{f} + k]].insert(f);
    }
    live_.assign(mesh_.face_count(), 1);
    live_count_ = mesh_.face_count();
  }

  std::size_t live_count() const { return live_count_; }
  Mesh const& mesh() const { return mesh_; }
  Numbers const& star(std::uint32_t v) const { return stars_[v]; }

  std::vector<Triangle> triangles() const {
    std::vector<Triangle> result;
    for (std::uint32_t f = 0; f < live_.size(); ++f) {
      if (live_[f] == 0) continue;
      Triangle t;
      for (std::size_t k = 0; k < 3; ++k) {
        Point const p = mesh_.point(mesh_.faces[3 * std::size_t{f} + k]);
        t[k] = {p[0], p[1], p[2]};
      }
      result.push_back(t);
    }
    return result;
  }

  enum class Outcome { kDone, kIllegal, kRefused };
  // Which of the guard's questions is asked: the one that looks at the original, the cheap one, or that first.
  enum class Ask { kOriginal, kStep, kEither };
  void set_question(Ask ask) { ask_ = ask; }

  // Merges b into a, which moves to `target`. With `keep_border`, what moves a border vertex is illegal, and so is
  // what turns a triangle over.
  Outcome collapse(DeviationGuard& guard, std::uint32_t a, std::uint32_t b, Point target, bool keep_border = true) {
    Numbers around_a = ring(a);
    Numbers const around_b = ring(b);
    std::vector<std::uint32_t> removed;
    Numbers opposite;
    for (std::uint32_t const f : stars_[b]) {
      if (!stars_[a].holds(f)) continue;
      removed.push_back(f);
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const v = mesh_.faces[3 * std::size_t{f} + k];
        if (v != a && v != b) opposite.insert(v);
      }
    }
    std::vector<std::uint32_t> common;
    std::set_intersection(around_a.begin(), around_a.end(), around_b.begin(), around_b.end(),
                          std::back_inserter(common));
    if (removed.empty() || common != opposite.list()) return Outcome::kIllegal;
    if (keep_border) {
      if (is_border(b)) return Outcome::kIllegal;
      if (is_border(a) && target != mesh_.point(a)) return Outcome::kIllegal;
    }

    std::vector<ChangedFace> changed;
    for (std::uint32_t const v : {a, b}) {
      for (std::uint32_t const f : stars_[v]) {
        if (std::find(removed.begin(), removed.end(), f) != removed.end()) continue;
        ChangedFace face{f, {}};
        std::array<Point, 3> old;
        for (std::size_t k = 0; k < 3; ++k) {
          std::uint32_t const c = mesh_.faces[3 * std::size_t{f} + k];
          old[k] = mesh_.point(c);
          face.corners[k] = c == v ? target : old[k];
          if (c == v) face.moving = static_cast<std::uint8_t>(k);
        }
        if (turns_over(old, face.corners)) return Outcome::kIllegal;
        changed.push_back(face);
      }
    }
    if (changed.empty()) return Outcome::kIllegal;
    Numbers neighbours;
    around_a.insert(around_b);
    for (std::uint32_t const v : around_a) neighbours.insert(stars_[v]);
    bool const step = ask_ != Ask::kOriginal && guard.permits_step(removed, changed);
    if (!step && (ask_ == Ask::kStep || !guard.permits(removed, changed, neighbours.list()))) {
      return Outcome::kRefused;
    }
    guard.commit();

    for (std::uint32_t const f : removed) {
      for (std::size_t k = 0; k < 3; ++k) stars_[mesh_.faces[3 * std::size_t{f} + k]].erase(f);
      live_[f] = 0;
      --live_count_;
    }
    for (std::uint32_t const f : stars_[b]) {
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t& v = mesh_.faces[3 * std::size_t{f} + k];
        if (v == b) v = a;
      }
      stars_[a].insert(f);
    }
    stars_[b].clear();
    for (std::size_t k = 0; k < 3; ++k) mesh_.positions[3 * std::size_t{a} + k] = target[k];
    return Outcome::kDone;
  }

  struct Tally {
    std::size_t done = 0, illegal = 0, refused = 0;
  };

  // Tries `rounds` random collapses, each onto an end or the middle of a random edge.
  Tally collapse_at_random(DeviationGuard& guard, std::size_t rounds, std::uint32_t seed, bool keep_border = true) {
    std::mt19937 random(seed);
    Tally tally;
    for (std::size_t i = 0; i < rounds; ++i) {
      std::uint32_t const f = static_cast<std::uint32_t>(random() % live_.size());
      std::size_t const k = random() % 3;
      std::uint32_t const choice = static_cast<std::uint32_t>(random() % 3);
      if (live_[f] == 0) continue;
      std::uint32_t const a = mesh_.faces[3 * std::size_t{f} + k];
      std::uint32_t const b = mesh_.faces[3 * std::size_t{f} + (k + 1) % 3];
      Point const pa = mesh_.point(a);
      Point const pb = mesh_.point(b);
      Point target = choice == 0 ? pa : pb;
      if (choice == 2) target = {(pa[0] + pb[0]) / 2, (pa[1] + pb[1]) / 2, (pa[2] + pb[2]) / 2};
      switch (collapse(guard, a, b, target, keep_border)) {
        case Outcome::kDone:
          ++tally.done;
          break;
        case Outcome::kIllegal:
          ++tally.illegal;
          break;
        case Outcome::kRefused:
          ++tally.refused;
          break;
      }
    }
    return tally;
  }

 private:
  Ask ask_ = Ask::kOriginal;

  Numbers ring(std::uint32_t v) const {
    Numbers result;
    for (std::uint32_t const f : stars_[v]) {
      for (std::size_t k = 0; k < 3; ++k) result.insert(mesh_.faces[3 * std::size_t{f} + k]);
    }
    result.erase(v);
    return result;
  }

  bool is_border(std::uint32_t v) const { return ring(v).size() != stars_[v].size(); }

  static bool turns_over(std::array<Point, 3> const& before, std::array<Point, 3> const& after) {
    auto const normal = [](std::array<Point, 3> const& t) {
      std::array<double, 3> u{}, w{};
      for (std::size_t k = 0; k < 3; ++k) {
        u[k] = static_cast<double>(t[1][k]) - t[0][k];
        w[k] = static_cast<double>(t[2][k]) - t[0][k];
      }
      return std::array<double, 3>{u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
    };
    auto const n = normal(before);
    auto const m = normal(after);
    double const nn = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
    double const mm = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
    return !(n[0] * m[0] + n[1] * m[1] + n[2] * m[2] > 0.2 * std::sqrt(nn * mm));
  }

  Mesh mesh_;
  std::vector<Numbers> stars_;
  std::vector<char> live_;
  std::size_t live_count_ = 0;
};

inline std::vector<Triangle> triangles_of(Mesh const& mesh) {
  return CollapsingMesh(mesh).triangles();
}

// Distance from a point to a triangle: the plane where the foot is inside, else the nearest edge.
inline double reference_distance(std::array<double, 3> const& p, Triangle const& t) {
  auto const sub = [](std::array<double, 3> const& a, std::array<double, 3> const& b) {
    return std::array<double, 3>{a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  };
  auto const mul = [](std::array<double, 3> const& a, std::array<double, 3> const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k < 3; ++k) {
    auto const e = sub(t[(k + 1) % 3], t[k]);
    auto const q = sub(p, t[k]);
    double const ee = mul(e, e);
    double const s = ee > 0 ? std::min(1.0, std::max(0.0, mul(q, e) / ee)) : 0;
    auto const r = sub(q, {s * e[0], s * e[1], s * e[2]});
    best = std::min(best, std::sqrt(mul(r, r)));
  }
  auto const u = sub(t[1], t[0]);
  auto const w = sub(t[2], t[0]);
  auto const q = sub(p, t[0]);
  double const uu = mul(u, u), uw = mul(u, w), ww = mul(w, w), qu = mul(q, u), qw = mul(q, w);
  double const determinant = uu * ww - uw * uw;
  if (determinant > 1e-12 * uu * ww) {
    double const s = (ww * qu - uw * qw) / determinant;
    double const v = (uu * qw - uw * qu) / determinant;
    if (s >= 0 && v >= 0 && s + v <= 1) {
      auto const r = sub(q, {s * u[0] + v * w[0], s * u[1] + v * w[1], s * u[2] + v * w[2]});
      best = std::min(best, std::sqrt(mul(r, r)));
    }
  }
  return best;
}

// The largest distance from points of `from` to `to`: `density` points along each edge of each triangle and all
// between them.
inline double sampled_distance(std::vector<Triangle> const& from, std::vector<Triangle> const& to, int density) {
  struct Ball {
    std::array<double, 3> centre;
    double radius;
  };
  std::vector<Ball> balls;
  for (Triangle const& t : to) {
    Ball ball{{0, 0, 0}, 0};
    for (std::size_t k = 0; k < 3; ++k) ball.centre[k] = (t[0][k] + t[1][k] + t[2][k]) / 3;
    for (auto const& c : t) {
      ball.radius =
          std::max(ball.radius, std::hypot(c[0] - ball.centre[0], c[1] - ball.centre[1], c[2] - ball.centre[2]));
    }
    balls.push_back(ball);
  }
  double worst = 0;
  std::size_t last = 0;
  for (Triangle const& t : from) {
    for (int i = 0; i <= density; ++i) {
      for (int j = 0; i + j <= density; ++j) {
        std::array<double, 3> p{};
        double const u = static_cast<double>(i) / density;
        double const v = static_cast<double>(j) / density;
        for (std::size_t k = 0; k < 3; ++k) p[k] = (1 - u - v) * t[0][k] + u * t[1][k] + v * t[2][k];
        double best = reference_distance(p, to[last]);
        for (std::size_t n = 0; n < to.size() && best > worst; ++n) {
          double const x = p[0] - balls[n].centre[0];
          double const y = p[1] - balls[n].centre[1];
          double const z = p[2] - balls[n].centre[2];
          double const reach = best + balls[n].radius;
          if (x * x + y * y + z * z > reach * reach) continue;
          double const d = reference_distance(p, to[n]);
          if (d < best) {
            best = d;
            last = n;
          }
        }
        worst = std::max(worst, best);
      }
    }
  }
  return worst;
}

}  // namespace mirel::engine::test
