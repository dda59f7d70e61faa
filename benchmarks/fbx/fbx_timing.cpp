// fbx_timing [TRIANGLES] [RUNS] [FOLDER]: reading binary FBX, from the file to the scene.
//
// Writes files with one mesh of TRIANGLES triangles (default 1,000,000) into FOLDER (default: the system's for
// temporary files) and times three ways through each, one after the other, RUNS times (default 9), on the wall's clock:
//
//   floor   inflating the file's arrays, from memory into one block that is there already, and adding up every number
//   ours    FbxImporter::Initialize and Import
//   assimp  its Importer::ReadFile without any later step; it reads no big-endian files
//
// Printed are medians, and the peak memory of a process that only reads the file, beside the arrays' size when raw.
// Freeing what was read is not timed. Exit status 1 when a reader fails or finds another number of triangles.
#include <assimp/scene.h>
#include <fbxsdk.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "benchmarks/fbx/generator/torus_file.h"

#ifdef __APPLE__
#include <sys/resource.h>
#endif

namespace {

using mirel::fbx_generator::ArrayPlace;
using mirel::fbx_generator::Form;
using mirel::fbx_generator::MeshFile;
using mirel::fbx_generator::MeshFileOptions;

double seconds_since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
  auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

bool inflate_array(char const* packed, std::size_t packed_size, char* raw, std::size_t raw_size) {
  z_stream stream = {};
  if (inflateInit(&stream) != Z_OK) return false;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed));
  stream.avail_in = static_cast<uInt>(packed_size);
  stream.next_out = reinterpret_cast<Bytef*>(raw);
  stream.avail_out = static_cast<uInt>(raw_size);
  int const result = inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  return result == Z_STREAM_END && stream.avail_out == 0;
}

template <class T>
double sum(char const* raw, std::size_t size, bool swaps) {
  double total = 0;
  for (std::size_t k = 0; k < size; k += sizeof(T)) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, raw + k, sizeof(T));
    if (swaps) std::reverse(bytes, bytes + sizeof(T));
    T number;
    std::memcpy(&number, bytes, sizeof(T));
    total += static_cast<double>(number);
  }
  return total;
}

// The least that a reader has to do. Where the arrays are not deflated it only reads them in place.
double touch_arrays(MeshFile const& file, bool is_big_endian, std::vector<char>& block) {
  bool const swaps = is_big_endian != (std::endian::native == std::endian::big);
  double total = 0;
  for (ArrayPlace const& array : file.arrays) {
    char const* raw = file.bytes.data() + array.offset;
    if (array.is_deflated) {
      if (!inflate_array(raw, array.stored_size, block.data(), array.raw_size)) std::abort();
      raw = block.data();
    }
    total +=
        array.type == 'd' ? sum<double>(raw, array.raw_size, swaps) : sum<std::int32_t>(raw, array.raw_size, swaps);
  }
  return total;
}

struct Reading {
  double seconds = 0;
  std::size_t triangles = 0;
};

std::size_t count_triangles(fbxsdk::FbxNode* node) {
  std::size_t triangles = 0;
  for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
    auto const* const mesh = fbxsdk::FbxCast<fbxsdk::FbxMesh>(node->GetNodeAttributeByIndex(k));
    if (mesh != nullptr) triangles += static_cast<std::size_t>(mesh->GetPolygonCount());
  }
  for (int k = 0; k < node->GetChildCount(); ++k) triangles += count_triangles(node->GetChild(k));
  return triangles;
}

bool read_with_ours(std::string const& path, Reading& reading) {
  fbxsdk::FbxManager* const manager = fbxsdk::FbxManager::Create();
  manager->SetIOSettings(fbxsdk::FbxIOSettings::Create(manager, "IOSRoot"));
  fbxsdk::FbxImporter* const importer = fbxsdk::FbxImporter::Create(manager, "");
  fbxsdk::FbxScene* const scene = fbxsdk::FbxScene::Create(manager, "scene");
  auto const begin = std::chrono::steady_clock::now();
  bool const is_read =
      importer->Initialize(path.c_str(), -1, manager->GetIOSettings()) && importer->Import(scene, false);
  reading.seconds = seconds_since(begin);
  if (is_read) {
    reading.triangles = count_triangles(scene->GetRootNode());
  } else {
    std::fprintf(stderr, "fbx_timing: %s: %s\n", path.c_str(), importer->GetStatus().GetErrorString());
  }
  manager->Destroy();
  return is_read;
}

bool read_with_assimp(std::string const& path, Reading& reading) {
  Assimp::Importer importer;
  auto const begin = std::chrono::steady_clock::now();
  aiScene const* const scene = importer.ReadFile(path, 0);
  reading.seconds = seconds_since(begin);
  if (scene == nullptr) {
    std::fprintf(stderr, "fbx_timing: %s: assimp: %s\n", path.c_str(), importer.GetErrorString());
    return false;
  }
  for (unsigned k = 0; k < scene->mNumMeshes; ++k) reading.triangles += scene->mMeshes[k]->mNumFaces;
  return true;
}

// Of this process since it was started, in bytes; the figure of getrusage would begin with what the parent had.
double peak_memory() {
#ifdef __APPLE__
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss);
#else
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "VmHWM:") == 0) return 1024 * std::strtod(line.c_str() + 6, nullptr);
  }
  return std::nan("");
#endif
}

// What this program does when it is called with --peak READER FILE: prints the peak memory of reading the file.
int print_peak(std::string const& reader, std::string const& path) {
  Reading reading;
  if (!(reader == "ours" ? read_with_ours(path, reading) : read_with_assimp(path, reading))) return 1;
  std::printf("%.0f\n", peak_memory());
  return 0;
}

double peak_in_child(char const* program, char const* reader, std::string const& path) {
  int channel[2];
  if (pipe(channel) != 0) return std::nan("");
  pid_t const child = fork();
  if (child == 0) {
    dup2(channel[1], STDOUT_FILENO);
    execl(program, program, "--peak", reader, path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(channel[1]);
  char text[64] = {};
  ssize_t const length = read(channel[0], text, sizeof text - 1);
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return length > 0 && status == 0 ? std::strtod(text, nullptr) : std::nan("");
}

struct Case {
  char const* label;
  MeshFileOptions options;
};

bool time_case(char const* program, Case const& one, int runs, std::filesystem::path const& folder) {
  MeshFile file = mirel::fbx_generator::make_mesh_file(one.options);
  std::string const path = folder / ("fbx_timing_" + std::to_string(getpid()) + ".fbx");
  std::string error;
  if (!mirel::fbx_generator::write_file(path, file.bytes, error)) {
    std::fprintf(stderr, "fbx_timing: %s\n", error.c_str());
    return false;
  }
  bool const is_big_endian = one.options.form.is_big_endian;
  std::size_t largest = 0;
  for (ArrayPlace const& array : file.arrays) largest = std::max(largest, array.raw_size);
  std::vector<char> block(largest);
  std::vector<double> floor, ours, assimp, to_floor, to_assimp;
  bool is_good = true;
  for (int run = 0; run < runs && is_good; ++run) {
    auto const begin = std::chrono::steady_clock::now();
    double const total = touch_arrays(file, is_big_endian, block);
    floor.push_back(seconds_since(begin));
    is_good = std::isfinite(total);
    Reading mine;
    is_good = is_good && read_with_ours(path, mine) && mine.triangles == file.triangle_count;
    ours.push_back(mine.seconds);
    to_floor.push_back(mine.seconds / floor.back());
    if (is_big_endian) continue;
    Reading theirs;
    is_good = is_good && read_with_assimp(path, theirs) && theirs.triangles == file.triangle_count;
    assimp.push_back(theirs.seconds);
    to_assimp.push_back(mine.seconds / theirs.seconds);
  }
  if (is_good) {
    auto const raw_size = static_cast<double>(file.raw_array_size());
    std::printf("%-34s | %9zu | %7.1f | %7.1f | %6.3f | %6.3f |", one.label, file.triangle_count,
                static_cast<double>(file.bytes.size()) / 1e6, raw_size / 1e6, median(floor), median(ours));
    assimp.empty() ? std::printf(" %6s |", "-") : std::printf(" %6.3f |", median(assimp));
    std::printf(" %5.2f |", median(to_floor));
    to_assimp.empty() ? std::printf(" %6s |", "-") : std::printf(" %6.2f |", median(to_assimp));
    std::printf(" %5.2f |", peak_in_child(program, "ours", path) / raw_size);
    is_big_endian ? std::printf(" %6s\n", "-")
                  : std::printf(" %6.2f\n", peak_in_child(program, "assimp", path) / raw_size);
    std::fflush(stdout);
  } else {
    std::fprintf(stderr, "fbx_timing: %s: not read, or not whole\n", one.label);
  }
  std::filesystem::remove(path);
  return is_good;
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 4 && std::strcmp(arguments[1], "--peak") == 0) return print_peak(arguments[2], arguments[3]);
  std::size_t const triangles = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 1'000'000;
  int const runs = count > 2 ? std::atoi(arguments[2]) : 9;
  std::filesystem::path const folder = count > 3 ? arguments[3] : std::filesystem::temp_directory_path().string();
  if (triangles == 0 || runs <= 0) {
    std::fprintf(stderr, "usage: fbx_timing [TRIANGLES] [RUNS] [FOLDER]\n");
    return 2;
  }
  Form const wide = {7500, false, true};
  Case const cases[] = {
      {"7.4, deflated", {{}, triangles, false, false}},
      {"7.4, deflated, UVs without indices", {{}, triangles, true, false}},
      {"7.4, deflated, full doubles", {{}, triangles, false, true}},
      {"7.5, deflated", {wide, triangles, false, false}},
      {"7.5, deflated, big-endian", {{7500, true, true}, triangles, false, false}},
      {"7.5, raw", {{7500, false, false}, triangles, false, false}},
  };
  std::printf("%-34s | %9s | %7s | %7s | %6s | %6s | %6s | %5s | %6s | %5s | %6s\n", "file", "triangles", "file MB",
              "raw MB", "floor", "ours", "assimp", "/flr", "/asmp", "mem/r", "a.mem");
  bool is_good = true;
  for (Case const& one : cases) is_good = time_case(arguments[0], one, runs, folder) && is_good;
  return is_good ? 0 : 1;
}
