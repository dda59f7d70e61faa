// What large hard inputs cost beside a scan-like surface of the same size: hard_inputs [REPEATS [FACES [NAME...]]]
//
// Each run is a process of its own that makes the mesh, joins and prepares it and builds the ladder down to the
// coarsest mesh, or as far as it goes within a tolerance; processor times leave the making out. The meshes take turns,
// so that what else the machine does falls on all of them. Printed: a Markdown table with medians, the faces of the
// coarsest step, and the measured bound on the deviation of the result at 1 % of the faces, or at the coarsest step
// where that has more, relative to the diagonal, with the time that measuring it took.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

#include "benchmarks/peers/driver.h"
#include "benchmarks/peers/engine_mesh.h"
#include "standalone/engine/mirel_engine.h"

namespace mirel::peers {
namespace {

struct Random {
  std::uint32_t state = 1;
  double unit() {
    state = state * 1664525U + 1013904223U;
    return static_cast<double>(state >> 8) / (1U << 24);
  }
};

// A square of unit side in so many faces, which `place` puts into space.
template <typename Place>
void add_grid(IndexedMesh& mesh, std::size_t faces, Place const& place) {
  auto const side = static_cast<std::uint32_t>(std::lround(std::sqrt(static_cast<double>(faces) / 2)));
  std::uint32_t const first = mesh.vertex_count();
  for (std::uint32_t row = 0; row <= side; ++row) {
    for (std::uint32_t column = 0; column <= side; ++column) {
      place(mesh, static_cast<double>(column) / side, static_cast<double>(row) / side);
    }
  }
  for (std::uint32_t row = 0; row < side; ++row) {
    for (std::uint32_t column = 0; column < side; ++column) {
      std::uint32_t const a = first + row * (side + 1) + column;
      mesh.add_face(a, a + 1, a + side + 2);
      mesh.add_face(a, a + side + 2, a + side + 1);
    }
  }
}

template <typename Height>
IndexedMesh grid(std::size_t faces, Height const& height) {
  IndexedMesh mesh;
  add_grid(mesh, faces, [&](IndexedMesh& to, double x, double y) { to.add_vertex(x, y, height(x, y)); });
  return mesh;
}

// Waves of several lengths, and the noise of a scanner.
IndexedMesh scan(std::size_t faces) {
  Random random;
  return grid(faces, [&](double x, double y) {
    return 0.05 * std::sin(9 * x + 2 * y) * std::cos(7 * y) + 0.01 * std::sin(43 * x) * std::sin(37 * y) +
           1e-4 * random.unit();
  });
}

IndexedMesh plane(std::size_t faces) {
  return grid(faces, [](double, double) { return 0.0; });
}

// Rounding puts its vertices beside the plane.
IndexedMesh tilted_plane(std::size_t faces) {
  return grid(faces, [](double x, double y) { return 0.37 * x + 0.71 * y; });
}

// Irregular: vertices anywhere near their places.
IndexedMesh shaken_plane(std::size_t faces) {
  IndexedMesh mesh;
  Random random;
  double const step = 0.6 / std::sqrt(static_cast<double>(faces) / 2);
  add_grid(mesh, faces, [&](IndexedMesh& to, double x, double y) {
    double const dx = step * (random.unit() - 0.5);
    double const dy = step * (random.unit() - 0.5);
    to.add_vertex(x > 0 && x < 1 ? x + dx : x, y > 0 && y < 1 ? y + dy : y, 0);
  });
  return mesh;
}

IndexedMesh box(std::size_t faces) {
  IndexedMesh mesh;
  for (int axis = 0; axis < 3; ++axis) {
    for (int end = 0; end < 2; ++end) {
      add_grid(mesh, faces / 6, [&](IndexedMesh& to, double x, double y) {
        double p[3];
        p[axis] = end;
        p[(axis + 1) % 3] = end == 1 ? x : y;
        p[(axis + 2) % 3] = end == 1 ? y : x;
        to.add_vertex(p[0], p[1], p[2]);
      });
    }
  }
  return mesh;
}

// Turned by angles that leave no coordinate round.
IndexedMesh turned_box(std::size_t faces) {
  IndexedMesh mesh = box(faces);
  for (std::size_t v = 0; v < mesh.positions.size(); v += 3) {
    float* const p = &mesh.positions[v];
    for (std::size_t axis = 0; axis < 2; ++axis) {
      double const a = static_cast<double>(p[axis]);
      double const b = static_cast<double>(p[axis + 1]);
      p[axis] = static_cast<float>(std::cos(0.7) * a - std::sin(0.7) * b);
      p[axis + 1] = static_cast<float>(std::sin(0.7) * a + std::cos(0.7) * b);
    }
  }
  return mesh;
}

// Small spheres of 100 faces, side by side.
IndexedMesh bodies(std::size_t faces) {
  constexpr std::uint32_t kAround = 10;
  constexpr std::uint32_t kRings = 5;
  IndexedMesh mesh;
  for (std::uint32_t body = 0; body < faces / 100; ++body) {
    std::uint32_t const first = mesh.vertex_count();
    double const cx = 3 * (body % 100);
    double const cy = 3 * (body / 100 % 100);
    double const cz = 3 * (body / 10000);
    mesh.add_vertex(cx, cy, cz + 1);
    for (std::uint32_t ring = 1; ring <= kRings; ++ring) {
      double const polar = std::numbers::pi * ring / (kRings + 1);
      for (std::uint32_t k = 0; k < kAround; ++k) {
        double const angle = 2 * std::numbers::pi * k / kAround;
        mesh.add_vertex(cx + std::sin(polar) * std::cos(angle), cy + std::sin(polar) * std::sin(angle),
                        cz + std::cos(polar));
      }
    }
    mesh.add_vertex(cx, cy, cz - 1);
    std::uint32_t const last = mesh.vertex_count() - 1;
    for (std::uint32_t k = 0; k < kAround; ++k) {
      std::uint32_t const next = (k + 1) % kAround;
      mesh.add_face(first, first + 1 + k, first + 1 + next);
      for (std::uint32_t ring = 0; ring + 1 < kRings; ++ring) {
        std::uint32_t const upper = first + 1 + ring * kAround;
        mesh.add_face(upper + k, upper + kAround + k, upper + kAround + next);
        mesh.add_face(upper + k, upper + kAround + next, upper + next);
      }
      mesh.add_face(last, last - kAround + next, last - kAround + k);
    }
  }
  return mesh;
}

// A ball of ten rings of latitude: a tenth of the faces has both poles.
IndexedMesh poles(std::size_t faces) {
  constexpr std::uint32_t kRings = 10;
  IndexedMesh mesh;
  auto const around = static_cast<std::uint32_t>(faces / (2 * kRings));
  mesh.add_vertex(0, 0, 1);
  for (std::uint32_t ring = 1; ring <= kRings; ++ring) {
    double const polar = std::numbers::pi * ring / (kRings + 1);
    for (std::uint32_t k = 0; k < around; ++k) {
      double const angle = 2 * std::numbers::pi * k / around;
      mesh.add_vertex(std::sin(polar) * std::cos(angle), std::sin(polar) * std::sin(angle), std::cos(polar));
    }
  }
  mesh.add_vertex(0, 0, -1);
  std::uint32_t const last = mesh.vertex_count() - 1;
  for (std::uint32_t k = 0; k < around; ++k) {
    std::uint32_t const next = (k + 1) % around;
    mesh.add_face(0, 1 + k, 1 + next);
    for (std::uint32_t ring = 0; ring + 1 < kRings; ++ring) {
      std::uint32_t const upper = 1 + ring * around;
      mesh.add_face(upper + k, upper + around + k, upper + around + next);
      mesh.add_face(upper + k, upper + around + next, upper + next);
    }
    mesh.add_face(last, last - around + next, last - around + k);
  }
  return mesh;
}

// All faces around one vertex.
IndexedMesh hub(std::size_t faces) {
  IndexedMesh mesh;
  auto const rim = static_cast<std::uint32_t>(faces);
  mesh.add_vertex(0, 0, 1);
  for (std::uint32_t k = 0; k < rim; ++k) {
    double const angle = 2 * std::numbers::pi * k / rim;
    mesh.add_vertex(std::cos(angle), std::sin(angle), 0);
  }
  for (std::uint32_t k = 0; k < rim; ++k) mesh.add_face(0, 1 + k, 1 + (k + 1) % rim);
  return mesh;
}

// Loose needles, a thousand times as long as wide, anywhere.
IndexedMesh needles(std::size_t faces) {
  IndexedMesh mesh;
  Random random;
  auto const between = [&](double low, double high) { return low + (high - low) * random.unit(); };
  for (std::size_t f = 0; f < faces; ++f) {
    double const p[] = {random.unit(), random.unit(), random.unit()};
    double const d[] = {between(-0.02, 0.02), between(-0.02, 0.02), between(-0.02, 0.02)};
    std::uint32_t const first = mesh.vertex_count();
    mesh.add_vertex(p[0], p[1], p[2]);
    mesh.add_vertex(p[0] + d[0], p[1] + d[1], p[2] + d[2]);
    mesh.add_vertex(p[0] + d[0] + 1e-3 * d[1], p[1] + d[1] - 1e-3 * d[0], p[2] + d[2]);
    mesh.add_face(first, first + 1, first + 2);
  }
  return mesh;
}

// A surface of such faces.
IndexedMesh slivers(std::size_t faces) {
  IndexedMesh mesh = scan(faces);
  for (std::size_t c = 0; c < mesh.positions.size(); c += 3) mesh.positions[c] *= 1e-3F;
  return mesh;
}

// Heights without any connection, as large as the edges are long.
IndexedMesh white_noise(std::size_t faces) {
  Random random;
  double const step = 1 / std::sqrt(static_cast<double>(faces) / 2);
  return grid(faces, [&](double, double) { return step * random.unit(); });
}

struct Case {
  char const* name;
  char const* title;
  IndexedMesh (*make)(std::size_t faces);
  double share;          // of the faces asked for
  double tolerance = 0;  // a share of the diagonal; 0: none
};
constexpr Case kCases[] = {{"scan", "scan-like surface", scan, 1},
                           {"plane", "plane", plane, 1},
                           {"tilted", "plane, tilted", tilted_plane, 1},
                           {"shaken", "plane, irregular", shaken_plane, 1},
                           {"box", "box", box, 1},
                           {"turned", "box, turned", turned_box, 1},
                           {"bodies", "bodies of 100 faces", bodies, 1},
                           {"hub", "cone around one vertex", hub, 0.1},
                           {"needles", "loose needles", needles, 1},
                           {"slivers", "surface of slivers", slivers, 1},
                           {"noise", "white noise", white_noise, 1},
                           {"scan_within", "scan-like surface, within 0.1 %", scan, 0.1, 1e-3},
                           {"hub_within", "cone around one vertex, within 0.1 %", hub, 0.1, 1e-3},
                           {"poles_within", "ball with two poles, within 0.1 %", poles, 0.1, 1e-3}};

struct Run {
  double prepare_seconds = 0;
  double ladder_seconds = 0;
  double faces = 0;
  double coarsest_faces = 0;
  double measured_faces = 0;
  double deviation = 0;
  double measuring_seconds = 0;
  MirelLadderEnd end = {};
};

double diagonal_of(IndexedMesh const& mesh) {
  double sum = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    float low = mesh.positions[axis];
    float high = low;
    for (std::size_t c = axis; c < mesh.positions.size(); c += 3) {
      low = std::min(low, mesh.positions[c]);
      high = std::max(high, mesh.positions[c]);
    }
    sum += std::pow(static_cast<double>(high) - static_cast<double>(low), 2);
  }
  return std::sqrt(sum);
}

Run measure(IndexedMesh const& input, double tolerance, bool with_deviation) {
  Run run;
  run.faces = input.face_count();
  auto const [sdk, depot, mesh] = EngineMesh(input);
  double const begin = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  depot->joinVertices(0, {}, 0);
  depot->prepareMeshes();
  double const prepared = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  ab::IHierarchy* const ladder = depot->buildHierarchy(static_cast<float>(tolerance * diagonal_of(input)));
  if (ladder == nullptr) fail("the engine builds no ladder");
  double const built = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  run.prepare_seconds = prepared - begin;
  run.ladder_seconds = built - prepared;
  mirel_engine_ladder_end(&run.end);
  std::uint32_t const last = ladder->numSteps();
  run.coarsest_faces = mirel_engine_face_count_at(last);
  if (with_deviation) {
    std::uint32_t low = 0;
    std::uint32_t high = last;
    // The first step with no more than a hundredth of the faces.
    while (low < high) {
      std::uint32_t const middle = low + (high - low) / 2;
      if (mirel_engine_face_count_at(middle) <= input.face_count() / 100) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    run.measured_faces = mirel_engine_face_count_at(low);
    double const measuring = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
    run.deviation = mirel_engine_deviation_bound(low) / diagonal_of(input);
    run.measuring_seconds = seconds_on(CLOCK_PROCESS_CPUTIME_ID) - measuring;
  }
  ab::IMeshDepot::destroy(depot);
  ab::IBalancerSDK::release(sdk);
  return run;
}

Run measure_in_child(Case const& one, std::size_t faces, bool with_deviation) {
  int channel[2];
  if (pipe(channel) != 0) fail("no pipe");
  pid_t const child = fork();
  if (child == 0) {
    IndexedMesh const mesh = one.make(static_cast<std::size_t>(static_cast<double>(faces) * one.share));
    Run const run = measure(mesh, one.tolerance, with_deviation);
    _exit(write(channel[1], &run, sizeof run) == static_cast<ssize_t>(sizeof run) ? 0 : 1);
  }
  close(channel[1]);
  Run run;
  bool const is_whole = ::read(channel[0], &run, sizeof run) == static_cast<ssize_t>(sizeof run);
  close(channel[0]);
  waitpid(child, nullptr, 0);
  if (!is_whole) fail(std::string(one.name) + ": the run ended early");
  return run;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  using namespace mirel::peers;
  int const repeats = argc > 1 ? std::atoi(argv[1]) : 3;
  auto const faces = static_cast<std::size_t>(argc > 2 ? std::atoll(argv[2]) : 1'000'000);
  std::vector<std::string> const names(argv + std::min(argc, 3), argv + argc);
  if (repeats < 1 || faces < 1000) fail("usage: hard_inputs [REPEATS [FACES [NAME...]]]");
  std::vector<Case> cases;
  for (Case const& one : kCases) {
    if (names.empty() || std::find(names.begin(), names.end(), one.name) != names.end()) cases.push_back(one);
  }
  if (cases.empty()) fail("no such mesh");
  std::vector<std::vector<Run>> runs(cases.size());
  for (int repeat = 0; repeat < repeats; ++repeat) {
    for (std::size_t k = 0; k < cases.size(); ++k) runs[k].push_back(measure_in_child(cases[k], faces, repeat == 0));
  }
  std::printf(
      "| mesh | faces | prepare s | ladder s | million faces/s | µs/face | to the scan | faces left | "
      "deviation | at faces | measuring s |\n|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|\n");
  // Each is held against the first mesh within the same tolerance.
  double first = 0;
  for (std::size_t k = 0; k < cases.size(); ++k) {
    std::vector<double> prepare, ladder, whole;
    for (Run const& run : runs[k]) {
      prepare.push_back(run.prepare_seconds);
      ladder.push_back(run.ladder_seconds);
      whole.push_back(run.prepare_seconds + run.ladder_seconds);
    }
    Run const& run = runs[k].front();
    double const per_face = median(whole) / run.faces;
    if (k == 0 || cases[k].tolerance != cases[k - 1].tolerance) first = per_face;
    std::printf("| %s | %.0f | %.2f | %.2f | %.2f | %.2f | %.2f | %.0f | %.1e | %.0f | %.1f |\n", cases[k].title,
                run.faces, median(prepare), median(ladder), 1e-6 / per_face, 1e6 * per_face, per_face / first,
                run.coarsest_faces, run.deviation, run.measured_faces, run.measuring_seconds);
    std::fflush(stdout);
  }
  for (std::size_t k = 0; k < cases.size(); ++k) {
    MirelLadderEnd const& end = runs[k].front().end;
    std::printf("%s: edges left that a rule forbids: tolerance %u, fold-over %u, topology %u\n", cases[k].title,
                end.tolerance, end.foldover, end.topology);
  }
  return 0;
}
