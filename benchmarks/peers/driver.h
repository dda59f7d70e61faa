// What the drivers share: PROGRAM INPUT FACES OUTPUT [SECONDS [RUNS]]
//
// Each driver is a program that simplifies the mesh INPUT to FACES faces with one library and writes OUTPUT. It runs at
// least once and at most RUNS times (default 1), and no further once it has worked for SECONDS (default 0). Timed is
// what stands between the arrays of the input and those of the output: building the library's mesh, reducing, reading
// back. Printed: one line of JSON with all times (wall clock and processor, milliseconds), the peak memory of the first
// run above what the process held before it (bytes, 0 where the system does not tell), and what the driver adds.
#pragma once

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "benchmarks/peers/indexed_mesh.h"

namespace mirel::peers {

inline double seconds_on(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// A line of /proc/self/status, in bytes; 0 where there is none.
inline double memory_status(std::string const& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(name + ":", 0) == 0) return 1024 * std::atof(line.c_str() + name.size() + 1);
  }
  return 0;
}

// From now on the peak counts anew.
inline void reset_peak_memory() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

struct Output {
  IndexedMesh mesh;
  std::string notes;  // JSON members, each with a comma before it
};

// simplify(input, faces) gives an Output.
template <typename Simplify>
int run_driver(int argc, char** argv, char const* version, Simplify const& simplify) {
  if (argc < 4) fail("usage: " + std::string(argv[0]) + " INPUT FACES OUTPUT [SECONDS [RUNS]]");
  IndexedMesh const input = read_mesh(argv[1]);
  auto const faces = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
  double const limit = argc > 4 ? std::atof(argv[4]) : 0;
  int const most_runs = argc > 5 ? std::atoi(argv[5]) : 1;

  std::string wall;
  std::string processor;
  std::string notes;
  double peak = 0;
  double worked = 0;
  for (int run = 0; run < most_runs && (run == 0 || worked < limit); ++run) {
    reset_peak_memory();
    double const before = memory_status("VmRSS");
    double const wall_begin = seconds_on(CLOCK_MONOTONIC);
    double const processor_begin = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
    Output output = simplify(input, faces);
    double const processor_seconds = seconds_on(CLOCK_PROCESS_CPUTIME_ID) - processor_begin;
    double const wall_seconds = seconds_on(CLOCK_MONOTONIC) - wall_begin;
    worked += wall_seconds;
    std::string const comma = run == 0 ? "" : ", ";
    wall += comma + std::to_string(1e3 * wall_seconds);
    processor += comma + std::to_string(1e3 * processor_seconds);
    if (run > 0) continue;
    peak = std::max(0.0, memory_status("VmHWM") - before);
    notes = output.notes;
    drop_unused_vertices(output.mesh);
    write_mesh(argv[3], output.mesh);
  }
  std::printf("{\"version\": \"%s\", \"wall_ms\": [%s], \"processor_ms\": [%s], \"peak_bytes\": %.0f%s}\n", version,
              wall.c_str(), processor.c_str(), peak, notes.c_str());
  return 0;
}

}  // namespace mirel::peers
