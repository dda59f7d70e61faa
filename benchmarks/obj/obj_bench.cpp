// Times the readers on files that it writes itself: bench_obj FOLDER [SIDE] [REPEATS]. A grid of SIDE x SIDE cells
// becomes OBJ files of positions alone, with UVs, with normals and with both, and PLY files. Each reader runs in a
// child process of its own, so that its peak memory can be told; times are processor times, leave the process's start
// out and the file's reading in.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "standalone/engine/obj/obj_reader.h"
#include "standalone/ply/tinyply.h"
#ifdef MIREL_HAS_TINYOBJ
#include <tiny_obj_loader.h>
#endif

namespace {

struct Grid {
  std::size_t side;
  std::size_t vertex_count() const { return (side + 1) * (side + 1); }
  std::size_t face_count() const { return side * side * 2; }
  void position(std::size_t k, double (&p)[3]) const {
    double const x = static_cast<double>(k % (side + 1)) / static_cast<double>(side);
    double const y = static_cast<double>(k / (side + 1)) / static_cast<double>(side);
    p[0] = x * 2 - 1;
    p[1] = y * 2 - 1;
    p[2] = 0.1 * std::sin(x * 40) * std::cos(y * 30);
  }
  void face(std::size_t k, std::size_t (&f)[3]) const {
    std::size_t const cell = k / 2;
    std::size_t const corner = cell / side * (side + 1) + cell % side;
    std::size_t const far = corner + side + 2;
    f[0] = corner;
    f[1] = k % 2 == 0 ? corner + 1 : far;
    f[2] = k % 2 == 0 ? far : corner + side + 1;
  }
};

void write_obj(Grid const& grid, std::string const& path, bool uvs, bool normals) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::exit(1);
  double p[3];
  for (std::size_t k = 0; k < grid.vertex_count(); ++k) {
    grid.position(k, p);
    std::fprintf(file, "v %.6f %.6f %.6f\n", p[0], p[1], p[2]);
  }
  for (std::size_t k = 0; uvs && k < grid.vertex_count(); ++k) {
    grid.position(k, p);
    std::fprintf(file, "vt %.6f %.6f\n", p[0], p[1]);
  }
  for (std::size_t k = 0; normals && k < grid.vertex_count(); ++k) {
    grid.position(k, p);
    double const length = std::sqrt(p[0] * p[0] + p[1] * p[1] + 1);
    std::fprintf(file, "vn %.4f %.4f %.4f\n", p[0] / length, p[1] / length, 1 / length);
  }
  std::size_t f[3];
  for (std::size_t k = 0; k < grid.face_count(); ++k) {
    grid.face(k, f);
    std::fputc('f', file);
    for (std::size_t const corner : f) {
      std::fprintf(file, " %zu", corner + 1);
      if (uvs || normals) std::fputc('/', file);
      if (uvs) std::fprintf(file, "%zu", corner + 1);
      if (normals) std::fprintf(file, "/%zu", corner + 1);
    }
    std::fputc('\n', file);
  }
  std::fclose(file);
}

void write_ply(Grid const& grid, std::string const& path, bool text) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::exit(1);
  std::fprintf(file,
               "ply\nformat %s 1.0\nelement vertex %zu\nproperty float x\nproperty float y\nproperty float z\n"
               "element face %zu\nproperty list uchar int vertex_indices\nend_header\n",
               text ? "ascii" : "binary_little_endian", grid.vertex_count(), grid.face_count());
  double p[3];
  for (std::size_t k = 0; k < grid.vertex_count(); ++k) {
    grid.position(k, p);
    float const narrow[3] = {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
    if (text) {
      std::fprintf(file, "%.6f %.6f %.6f\n", p[0], p[1], p[2]);
    } else {
      std::fwrite(narrow, sizeof narrow, 1, file);
    }
  }
  std::size_t f[3];
  for (std::size_t k = 0; k < grid.face_count(); ++k) {
    grid.face(k, f);
    int const indices[3] = {static_cast<int>(f[0]), static_cast<int>(f[1]), static_cast<int>(f[2])};
    if (text) {
      std::fprintf(file, "3 %d %d %d\n", indices[0], indices[1], indices[2]);
    } else {
      std::fputc(3, file);
      std::fwrite(indices, sizeof indices, 1, file);
    }
  }
  std::fclose(file);
}

// Returns the number of faces, 0 on failure.
std::size_t read_with_ours(std::string const& path) {
  mirel::engine::ObjResult const result = mirel::engine::read_obj(path.c_str());
  if (!result.file.has_value()) {
    std::fprintf(stderr, "%s\n", result.error.c_str());
    return 0;
  }
  std::size_t faces = 0;
  for (auto const& mesh : result.file->meshes) faces += mesh.faces.size() / 3;
  return faces;
}

#ifdef MIREL_HAS_TINYOBJ
std::size_t read_with_tinyobj(std::string const& path) {
  tinyobj::attrib_t attributes;
  std::vector<tinyobj::shape_t> shapes;
  std::vector<tinyobj::material_t> materials;
  std::string warning, error;
  if (!tinyobj::LoadObj(&attributes, &shapes, &materials, &warning, &error, path.c_str())) return 0;
  std::size_t faces = 0;
  for (auto const& shape : shapes) faces += shape.mesh.num_face_vertices.size();
  return faces;
}
#endif

std::size_t read_with_tinyply(std::string const& path) {
  std::ifstream stream(path, std::ios::binary);
  tinyply::PlyFile file;
  file.parse_header(stream);
  auto const positions = file.request_properties_from_element("vertex", {"x", "y", "z"});
  auto const faces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
  file.read(stream);
  return faces->buffer.size_bytes() / 12;
}

// Seconds, faces and peak memory of one run.
struct Run {
  double seconds;
  std::size_t faces;
  long peak_kib;
};

// Processor time, user and system: unlike time on the wall it hardly depends on what else the machine does.
double processor_seconds(long& peak_kib) {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  peak_kib = usage.ru_maxrss;
  auto const seconds = [](timeval const& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

Run run_in_child(std::function<std::size_t(std::string const&)> const& read, std::string const& path) {
  int channel[2];
  Run run = {};
  if (pipe(channel) != 0) return run;
  pid_t const child = fork();
  if (child == 0) {
    double const start = processor_seconds(run.peak_kib);
    run.faces = read(path);
    run.seconds = processor_seconds(run.peak_kib) - start;
    bool const written = write(channel[1], &run, sizeof run) == static_cast<ssize_t>(sizeof run);
    _exit(written ? 0 : 1);
  }
  close(channel[1]);
  if (::read(channel[0], &run, sizeof run) != static_cast<ssize_t>(sizeof run)) run = {};
  close(channel[0]);
  waitpid(child, nullptr, 0);
  return run;
}

void report(char const* reader, std::function<std::size_t(std::string const&)> const& read, std::string const& path,
            int repeats) {
  std::vector<Run> runs;
  for (int k = 0; k < repeats; ++k) runs.push_back(run_in_child(read, path));
  std::sort(runs.begin(), runs.end(), [](Run const& a, Run const& b) { return a.seconds < b.seconds; });
  double const megabytes = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
  Run const& median = runs[runs.size() / 2];
  std::printf("%-22s %-14s %7.1f MB %9zu faces  min %.3f s  median %.3f s  max %.3f s  %5.0f MB/s  peak %6.1f MiB\n",
              std::filesystem::path(path).filename().c_str(), reader, megabytes, median.faces, runs.front().seconds,
              median.seconds, runs.back().seconds, megabytes / median.seconds,
              static_cast<double>(median.peak_kib) / 1024);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: bench_obj FOLDER [SIDE] [REPEATS]\n");
    return 2;
  }
  std::string const folder = arguments[1];
  Grid const grid = {count > 2 ? static_cast<std::size_t>(std::atoi(arguments[2])) : 1000};
  int const repeats = count > 3 ? std::atoi(arguments[3]) : 5;
  struct Case {
    std::string path;
    bool is_obj;
  };
  Case const cases[] = {{folder + "/positions.obj", true}, {folder + "/uvs.obj", true},
                        {folder + "/normals.obj", true},   {folder + "/both.obj", true},
                        {folder + "/binary.ply", false},   {folder + "/text.ply", false}};
  for (int k = 0; k < 4; ++k) write_obj(grid, cases[k].path, k % 2 == 1, k >= 2);
  write_ply(grid, cases[4].path, false);
  write_ply(grid, cases[5].path, true);
  for (Case const& one : cases) {
    report("ours", one.is_obj ? read_with_ours : read_with_tinyply, one.path, repeats);
#ifdef MIREL_HAS_TINYOBJ
    if (one.is_obj) report("tinyobjloader", read_with_tinyobj, one.path, repeats);
#endif
    std::filesystem::remove(one.path);
  }
}
