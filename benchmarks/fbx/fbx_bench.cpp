// Times reading an FBX file that it writes itself: bench_fbx FOLDER [SIDE] [REPEATS]. A grid of SIDE x SIDE cells (708:
// a million triangles) with a normal for every corner and indexed UVs, in deflated arrays of 64-bit numbers. Compared
// are the library, file to scene; inflating the same arrays and adding up every number, which no reader can do without;
// and assimp without post-processing. Each runs in a child process of its own, so that its peak memory can be told;
// times are processor times, leave the process's start out and the file's reading in.
#include <assimp/scene.h>
#include <fbxsdk.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

// A deflated array in the written file.
struct PackedArray {
  std::size_t offset;
  std::size_t packed_size;
  std::size_t raw_size;
  std::size_t number_size;
};

class Writer {
 public:
  Writer() : bytes_("Kaydara FBX Binary  ") {
    bytes_.append("\0\x1a\0", 3);
    number<std::uint32_t>(7400);
  }

  template <class Body>
  void element(char const* name, Body const& body) {
    std::size_t const head = bytes_.size();
    bytes_.append(12, '\0');
    bytes_.push_back(static_cast<char>(std::strlen(name)));
    bytes_ += name;
    values_ = 0;
    value_start_ = bytes_.size();
    has_children_ = false;
    head_ = head;
    body();
    if (head_ == head) end_values();
    if (head_ != head || has_children_) bytes_.append(13, '\0');
    put<std::uint32_t>(head, static_cast<std::uint32_t>(bytes_.size()));
    head_ = std::string::npos;
    has_children_ = true;
  }
  // Ends the values of the element that is being written; children follow.
  void children() {
    end_values();
    head_ = std::string::npos;
    has_children_ = true;
  }
  void value(int number_value) {
    ++values_;
    bytes_.push_back('I');
    number(number_value);
  }
  void value(std::int64_t number_value) {
    ++values_;
    bytes_.push_back('L');
    number(number_value);
  }
  void value(std::string const& text) {
    ++values_;
    bytes_.push_back('S');
    number(static_cast<std::uint32_t>(text.size()));
    bytes_ += text;
  }
  template <class T>
  void value(std::vector<T> const& numbers) {
    ++values_;
    std::size_t const raw_size = numbers.size() * sizeof(T);
    uLongf packed_size = compressBound(raw_size);
    std::vector<Bytef> packed(packed_size);
    compress2(packed.data(), &packed_size, reinterpret_cast<Bytef const*>(numbers.data()), raw_size, 1);
    bytes_.push_back(sizeof(T) == 8 ? 'd' : 'i');
    number(static_cast<std::uint32_t>(numbers.size()));
    number(1);
    number(static_cast<std::uint32_t>(packed_size));
    arrays.push_back({bytes_.size(), packed_size, raw_size, sizeof(T)});
    bytes_.append(reinterpret_cast<char const*>(packed.data()), packed_size);
  }
  std::string finish() {
    bytes_.append(13, '\0');
    return std::move(bytes_);
  }

  std::vector<PackedArray> arrays;

 private:
  template <class T>
  void number(T value) {
    bytes_.append(reinterpret_cast<char const*>(&value), sizeof value);
  }
  template <class T>
  void put(std::size_t place, T value) {
    std::memcpy(&bytes_[place], &value, sizeof value);
  }
  void end_values() {
    put<std::uint32_t>(head_ + 4, values_);
    put<std::uint32_t>(head_ + 8, static_cast<std::uint32_t>(bytes_.size() - value_start_));
  }

  std::string bytes_;
  std::uint32_t values_ = 0;
  std::size_t value_start_ = 0;
  std::size_t head_ = std::string::npos;
  bool has_children_ = false;
};

constexpr std::int64_t kMeshId = 1000;
constexpr std::int64_t kNodeId = 2000;

std::string full_name(char const* name, char const* type) {
  return std::string(name) + std::string("\0\1", 2) + type;
}

// Writes the grid; returns its arrays.
std::vector<PackedArray> write_grid(std::string const& path, std::size_t side) {
  std::vector<double> points;
  std::vector<double> uvs;
  std::vector<double> normals;
  std::vector<int> corners;
  std::vector<int> uv_indices;
  auto const height = [&](double x, double y) { return 0.1 * std::sin(x * 40) * std::cos(y * 30); };
  for (std::size_t k = 0; k < (side + 1) * (side + 1); ++k) {
    double const x = static_cast<double>(k % (side + 1)) / static_cast<double>(side);
    double const y = static_cast<double>(k / (side + 1)) / static_cast<double>(side);
    points.insert(points.end(), {x * 2 - 1, y * 2 - 1, height(x, y)});
    uvs.insert(uvs.end(), {x, y});
  }
  for (std::size_t k = 0; k < side * side * 2; ++k) {
    std::size_t const low = k / 2 / side * (side + 1) + k / 2 % side;
    std::size_t const high = low + side + 2;
    std::size_t const face[3] = {low, k % 2 == 0 ? low + 1 : high, k % 2 == 0 ? high : low + side + 1};
    for (int i = 0; i < 3; ++i) {
      int const point = static_cast<int>(face[i]);
      corners.push_back(i == 2 ? ~point : point);
      uv_indices.push_back(point);
      double const x = uvs[face[i] * 2];
      double const y = uvs[face[i] * 2 + 1];
      double const slope_x = -2 * std::cos(x * 40) * std::cos(y * 30);
      double const slope_y = 1.5 * std::sin(x * 40) * std::sin(y * 30);
      double const length = std::sqrt(slope_x * slope_x + slope_y * slope_y + 1);
      normals.insert(normals.end(), {slope_x / length, slope_y / length, 1 / length});
    }
  }
  Writer writer;
  auto const leaf = [&](char const* name, auto const& value) { writer.element(name, [&] { writer.value(value); }); };
  auto const layer_element = [&](char const* name, char const* reference, auto const& body) {
    writer.element(name, [&] {
      writer.value(0);
      writer.children();
      leaf("MappingInformationType", std::string("ByPolygonVertex"));
      leaf("ReferenceInformationType", std::string(reference));
      body();
    });
  };
  writer.element("FBXHeaderExtension", [&] {
    writer.children();
    leaf("FBXHeaderVersion", 1003);
    leaf("FBXVersion", 7400);
  });
  writer.element("Objects", [&] {
    writer.children();
    writer.element("Geometry", [&] {
      writer.value(kMeshId);
      writer.value(full_name("grid", "Geometry"));
      writer.value(std::string("Mesh"));
      writer.children();
      leaf("Vertices", points);
      leaf("PolygonVertexIndex", corners);
      layer_element("LayerElementNormal", "Direct", [&] { leaf("Normals", normals); });
      layer_element("LayerElementUV", "IndexToDirect", [&] {
        leaf("UV", uvs);
        leaf("UVIndex", uv_indices);
      });
      writer.element("Layer", [&] {
        writer.value(0);
        writer.children();
        for (char const* const type : {"LayerElementNormal", "LayerElementUV"}) {
          writer.element("LayerElement", [&] {
            writer.children();
            leaf("Type", std::string(type));
            leaf("TypedIndex", 0);
          });
        }
      });
    });
    writer.element("Model", [&] {
      writer.value(kNodeId);
      writer.value(full_name("grid", "Model"));
      writer.value(std::string("Mesh"));
      writer.children();
      leaf("Version", 232);
    });
  });
  writer.element("Connections", [&] {
    writer.children();
    for (auto const& [source, target] : {std::pair{kMeshId, kNodeId}, std::pair{kNodeId, std::int64_t{0}}}) {
      writer.element("C", [&, source = source, target = target] {
        writer.value(std::string("OO"));
        writer.value(source);
        writer.value(target);
      });
    }
  });
  std::string const bytes = writer.finish();
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return writer.arrays;
}

// Each returns the number of triangles, 0 on failure.
std::size_t read_with_ours(std::string const& path) {
  using namespace fbxsdk;
  FbxManager* const manager = FbxManager::Create();
  FbxImporter* const importer = FbxImporter::Create(manager, "");
  FbxScene* const scene = FbxScene::Create(manager, "scene");
  if (!importer->Initialize(path.c_str(), -1, nullptr) || !importer->Import(scene, false)) {
    std::fprintf(stderr, "%s\n", importer->GetStatus().GetErrorString());
    return 0;
  }
  FbxMesh const* const mesh = FbxCast<FbxMesh>(scene->GetRootNode()->GetChild(0)->GetNodeAttribute());
  return mesh == nullptr ? 0 : static_cast<std::size_t>(mesh->GetPolygonCount());
}

std::size_t read_with_assimp(std::string const& path) {
  Assimp::Importer importer;
  aiScene const* const scene = importer.ReadFile(path, 0);
  if (scene == nullptr) std::fprintf(stderr, "%s\n", importer.GetErrorString());
  std::size_t triangles = 0;
  for (unsigned k = 0; scene != nullptr && k < scene->mNumMeshes; ++k) triangles += scene->mMeshes[k]->mNumFaces;
  return triangles;
}

std::size_t inflate_and_touch(std::string const& path, std::vector<PackedArray> const& arrays) {
  std::ifstream stream(path, std::ios::binary);
  std::string bytes(std::filesystem::file_size(path), '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  double sum = 0;
  std::size_t corners = 0;
  for (PackedArray const& array : arrays) {
    std::vector<char> raw(array.raw_size);
    uLongf size = array.raw_size;
    if (uncompress(reinterpret_cast<Bytef*>(raw.data()), &size,
                   reinterpret_cast<Bytef const*>(bytes.data() + array.offset), array.packed_size) != Z_OK) {
      return 0;
    }
    for (std::size_t k = 0; k < size; k += array.number_size) {
      if (array.number_size == 8) {
        double number;
        std::memcpy(&number, &raw[k], 8);
        sum += number;
      } else {
        std::int32_t number;
        std::memcpy(&number, &raw[k], 4);
        sum += number;
        corners += number < 0 ? 1 : 0;
      }
    }
  }
  return std::isnan(sum) ? 0 : corners;
}

struct Run {
  double seconds;
  std::size_t triangles;
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

Run run_in_child(std::function<std::size_t()> const& read) {
  int channel[2];
  Run run = {};
  if (pipe(channel) != 0) return run;
  pid_t const child = fork();
  if (child == 0) {
    long before = 0;
    double const start = processor_seconds(before);
    run.triangles = read();
    run.seconds = processor_seconds(run.peak_kib) - start;
    run.peak_kib -= before;
    bool const written = write(channel[1], &run, sizeof run) == static_cast<ssize_t>(sizeof run);
    _exit(written ? 0 : 1);
  }
  close(channel[1]);
  if (::read(channel[0], &run, sizeof run) != static_cast<ssize_t>(sizeof run)) run = {};
  close(channel[0]);
  waitpid(child, nullptr, 0);
  return run;
}

void report(char const* reader, std::function<std::size_t()> const& read, std::size_t raw_size, int repeats) {
  std::vector<Run> runs;
  for (int k = 0; k < repeats; ++k) runs.push_back(run_in_child(read));
  std::sort(runs.begin(), runs.end(), [](Run const& a, Run const& b) { return a.seconds < b.seconds; });
  Run const& median = runs[runs.size() / 2];
  double const peak = static_cast<double>(median.peak_kib) * 1024;
  std::printf("%-20s %9zu triangles  min %.3f s  median %.3f s  max %.3f s  peak %7.1f MB = %.2f x raw arrays\n",
              reader, median.triangles, runs.front().seconds, median.seconds, runs.back().seconds, peak / 1e6,
              peak / static_cast<double>(raw_size));
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: bench_fbx FOLDER [SIDE] [REPEATS]\n");
    return 2;
  }
  std::string const path = std::string(arguments[1]) + "/grid.fbx";
  std::size_t const side = count > 2 ? static_cast<std::size_t>(std::atoi(arguments[2])) : 708;
  int const repeats = count > 3 ? std::atoi(arguments[3]) : 7;
  std::vector<PackedArray> arrays;
  // In a child too: what writing leaves in the heap would count for the readers.
  {
    int channel[2];
    if (pipe(channel) != 0) return 1;
    pid_t const child = fork();
    if (child == 0) {
      std::vector<PackedArray> const written = write_grid(path, side);
      bool const sent = write(channel[1], written.data(), written.size() * sizeof(PackedArray)) > 0;
      _exit(sent ? 0 : 1);
    }
    close(channel[1]);
    PackedArray array;
    while (read(channel[0], &array, sizeof array) == static_cast<ssize_t>(sizeof array)) arrays.push_back(array);
    close(channel[0]);
    waitpid(child, nullptr, 0);
  }
  std::size_t raw_size = 0;
  for (PackedArray const& array : arrays) raw_size += array.raw_size;
  std::printf("file %.1f MB, arrays %.1f MB raw\n", static_cast<double>(std::filesystem::file_size(path)) / 1e6,
              static_cast<double>(raw_size) / 1e6);
  report(
      "inflate and touch", [&] { return inflate_and_touch(path, arrays); }, raw_size, repeats);
  report(
      "ours", [&] { return read_with_ours(path); }, raw_size, repeats);
  report(
      "assimp", [&] { return read_with_assimp(path); }, raw_size, repeats);
  std::filesystem::remove(path);
}
