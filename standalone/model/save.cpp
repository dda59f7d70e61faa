#include "standalone/model/save.h"

#include <assimp/postprocess.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <assimp/Exporter.hpp>
#include <assimp/IOStream.hpp>
#include <assimp/IOSystem.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "standalone/model/assimp_scene.h"

namespace mirel::model {

namespace {

constexpr unsigned int kGltfSteps = aiProcess_JoinIdenticalVertices | aiProcess_Triangulate | aiProcess_SortByPType;
constexpr Format kFormats[] = {
    {"glb", "glb2", true, true, true, true, true, false, kGltfSteps},
    {"gltf", "gltf2", true, true, true, false, true, false, kGltfSteps},
    {"dae", "collada", true, true, false, false, false, false, 0},
    {"obj", "obj", false, false, false, false, false, false, aiProcess_GenSmoothNormals},
    {"ply", "plyb", false, false, false, false, false, false, aiProcess_PreTransformVertices},
    {"stl", "stlb", false, false, false, false, false, true, aiProcess_PreTransformVertices | aiProcess_Triangulate},
};

std::string message;

// What went wrong with the first file that could not be written whole.
struct WriteFailure {
  std::string text;
  void note(std::string const& path, int error) {
    if (text.empty()) {
      text = path + ": " + std::strerror(error);
    }
  }
};

// A file whose every write is checked, and which is on the disk when it is closed.
class CheckedFile final : public Assimp::IOStream {
 public:
  CheckedFile(std::FILE* file, std::string path, WriteFailure& failure)
      : file_(file), path_(std::move(path)), failure_(failure) {}
  ~CheckedFile() override {
    if (std::fflush(file_) != 0 || fsync(fileno(file_)) != 0) {
      failure_.note(path_, errno);
    }
    if (std::fclose(file_) != 0) {
      failure_.note(path_, errno);
    }
  }
  CheckedFile(CheckedFile const&) = delete;
  CheckedFile& operator=(CheckedFile const&) = delete;

  std::size_t Read(void* buffer, std::size_t size, std::size_t count) override {
    return std::fread(buffer, size, count, file_);
  }
  std::size_t Write(void const* buffer, std::size_t size, std::size_t count) override {
    std::size_t const written = std::fwrite(buffer, size, count, file_);
    if (written != count) {
      failure_.note(path_, errno);
    }
    return written;
  }
  aiReturn Seek(std::size_t offset, aiOrigin origin) override {
    int const whence = origin == aiOrigin_SET ? SEEK_SET : origin == aiOrigin_CUR ? SEEK_CUR : SEEK_END;
    return fseeko(file_, static_cast<off_t>(offset), whence) == 0 ? aiReturn_SUCCESS : aiReturn_FAILURE;
  }
  std::size_t Tell() const override { return static_cast<std::size_t>(ftello(file_)); }
  std::size_t FileSize() const override {
    struct stat status = {};
    return fstat(fileno(file_), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
  }
  void Flush() override { std::fflush(file_); }

 private:
  std::FILE* file_;
  std::string path_;
  WriteFailure& failure_;
};

class CheckedFiles final : public Assimp::IOSystem {
 public:
  explicit CheckedFiles(WriteFailure& failure) : failure_(failure) {}
  bool Exists(char const* path) const override { return access(path, F_OK) == 0; }
  char getOsSeparator() const override { return '/'; }
  Assimp::IOStream* Open(char const* path, char const* mode) override {
    std::FILE* const file = std::fopen(path, mode);
    if (file == nullptr) {
      failure_.note(path, errno);
      return nullptr;
    }
    return new CheckedFile(file, path, failure_);
  }
  void Close(Assimp::IOStream* file) override { delete file; }

 private:
  WriteFailure& failure_;
};

// A new folder that goes with everything in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(std::string const& beside) : path_(beside + "/.mirel-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) {
      error_ = errno;
      path_.clear();
    }
  }
  ~TemporaryFolder() {
    if (!path_.empty()) {
      for (std::string const& name : names()) {
        unlink((path_ + "/" + name).c_str());
      }
      rmdir(path_.c_str());
    }
  }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  int error() const { return error_; }
  std::string const& path() const { return path_; }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    if (DIR* const folder = opendir(path_.c_str())) {
      while (dirent const* const entry = readdir(folder)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") {
          result.push_back(std::move(name));
        }
      }
      closedir(folder);
    }
    std::sort(result.begin(), result.end());
    return result;
  }

 private:
  std::string path_;
  int error_ = 0;
};

bool fail(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  message = std::move(text);
  return false;
}

bool copy_file(std::string const& source, std::string const& target, WriteFailure& failure) {
  std::FILE* const from = std::fopen(source.c_str(), "rb");
  if (from == nullptr) {
    failure.note(source, errno);
    return false;
  }
  std::FILE* const to = std::fopen(target.c_str(), "wb");
  if (to == nullptr) {
    failure.note(target, errno);
    std::fclose(from);
    return false;
  }
  {
    CheckedFile output(to, target, failure);
    char block[1 << 16];
    while (std::size_t const length = std::fread(block, 1, sizeof block, from)) {
      output.Write(block, 1, length);
    }
    if (std::ferror(from) != 0) {
      failure.note(source, EIO);
    }
  }
  std::fclose(from);
  return failure.text.empty();
}

bool write_file(std::vector<char> const& content, std::string const& target, WriteFailure& failure) {
  std::FILE* const to = std::fopen(target.c_str(), "wb");
  if (to == nullptr) {
    failure.note(target, errno);
    return false;
  }
  CheckedFile(to, target, failure).Write(content.data(), 1, content.size());
  return failure.text.empty();
}

bool export_scene(BuiltScene const& built, Format const& format, std::string const& path, WriteFailure& failure) {
  Assimp::Exporter exporter;
  exporter.SetIOHandler(new CheckedFiles(failure));
  aiReturn const result = exporter.Export(built.scene.get(), format.exporter, path);
  if (!failure.text.empty()) {
    return fail(failure.text);
  }
  return result == aiReturn_SUCCESS || fail(std::string("the exporter failed: ") + exporter.GetErrorString());
}

// Side files first, so that the main file never names one that is not there.
bool move_into_place(TemporaryFolder const& from, std::string const& folder, std::string const& main_name) {
  std::vector<std::string> names = from.names();
  auto const main = std::find(names.begin(), names.end(), main_name);
  if (main == names.end()) {
    return fail(main_name + " has not been written");
  }
  std::rotate(main, main + 1, names.end());
  for (std::string const& name : names) {
    std::string const target = folder + "/" + name;
    if (std::rename((from.path() + "/" + name).c_str(), target.c_str()) != 0) {
      return fail(target + ": " + std::strerror(errno));
    }
  }
  return true;
}

}  // namespace

SceneNotes& scene_notes() {
  static SceneNotes notes;
  return notes;
}

Format const* find_format(std::string_view path) {
  std::size_t const dot = path.rfind('.');
  std::size_t const slash = path.rfind('/');
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) {
    return nullptr;
  }
  std::string extension(path.substr(dot + 1));
  for (char& letter : extension) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  for (Format const& format : kFormats) {
    if (extension == format.extension) {
      return &format;
    }
  }
  return nullptr;
}

bool save_model(Model const& model, std::string const& path) {
  message.clear();
  Format const* const format = find_format(path);
  if (format == nullptr) {
    return fail(path + ": no format of this extension can be written");
  }
  std::size_t const slash = path.rfind('/');
  std::string const folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::string const name = slash == std::string::npos ? path : path.substr(slash + 1);
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return fail(path + ": " + std::strerror(EISDIR));
  }
  SceneNotes notes = scene_notes();
  if (notes.folder.empty()) {
    notes.folder = folder;
  }
  BuiltScene const built = build_assimp_scene(model, *format, notes);
  TemporaryFolder const temporary(folder);
  if (temporary.error() != 0) {
    return fail(folder + ": " + std::strerror(temporary.error()));
  }
  WriteFailure failure;
  for (TextureFile const& file : built.texture_files) {
    std::string const target = temporary.path() + "/" + file.name;
    if (!(file.source.empty() ? write_file(file.content, target, failure) : copy_file(file.source, target, failure))) {
      return fail(failure.text);
    }
  }
  if (!export_scene(built, *format, temporary.path() + "/" + name, failure) ||
      !move_into_place(temporary, folder, name)) {
    return false;
  }
  for (std::string const& remark : built.remarks) {
    message += (message.empty() ? "" : "; ") + remark;
  }
  return true;
}

std::string const& save_message() {
  return message;
}

}  // namespace mirel::model
