#include "tests/support/obj_text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace mirel::support {
namespace {

class Reader {
 public:
  Reader(ObjText& mesh, std::string& error) : mesh_(mesh), error_(error) {}

  bool read(std::istream& file) {
    std::string line;
    while (std::getline(file, line)) {
      ++line_number_;
      if (!take(line)) {
        error_ = "line " + std::to_string(line_number_) + ": " + line;
        return false;
      }
    }
    return true;
  }

 private:
  bool take(std::string const& line) {
    std::istringstream words(line);
    std::string key;
    words >> key;
    if (key == "v") return numbers(words, 3, &mesh_.positions);
    if (key == "vt") return numbers(words, 2, &mesh_.uvs);
    if (key == "vn") {
      ++mesh_.normal_count;
      return numbers(words, 3, nullptr);
    }
    if (key == "usemtl") {
      std::string name;
      std::getline(words >> std::ws, name);
      use_material(name);
    }
    return key != "f" || polygon(words);
  }

  bool numbers(std::istringstream& words, int count, std::vector<float>* values) {
    std::string word;
    for (int k = 0; k < count; ++k) {
      if (!(words >> word)) return false;
      float const value = std::strtof(word.c_str(), nullptr);
      if (!std::isfinite(value)) ++mesh_.non_finite_values;
      if (values != nullptr) values->push_back(value);
    }
    return true;
  }

  void use_material(std::string const& name) {
    auto const found = std::find(mesh_.materials.begin(), mesh_.materials.end(), name);
    material_ = static_cast<std::uint32_t>(found - mesh_.materials.begin());
    if (found == mesh_.materials.end()) mesh_.materials.push_back(name);
  }

  bool polygon(std::istringstream& words) {
    std::vector<std::uint32_t> corners;
    std::vector<std::uint32_t> uvs;
    std::string word;
    while (words >> word) {
      char* rest = nullptr;
      corners.push_back(place(std::strtol(word.c_str(), &rest, 10), mesh_.positions.size() / 3));
      if (corners.back() == kNone) return false;
      uvs.push_back(kNone);
      if (*rest == '/' && rest[1] != '/' && rest[1] != '\0') {
        uvs.back() = place(std::strtol(rest + 1, nullptr, 10), mesh_.uvs.size() / 2);
        if (uvs.back() == kNone) return false;
      }
    }
    for (std::size_t k = 2; k < corners.size(); ++k) {
      mesh_.faces.push_back({corners[0], corners[k - 1], corners[k]});
      mesh_.face_uvs.push_back({uvs[0], uvs[k - 1], uvs[k]});
      mesh_.face_material.push_back(material_);
    }
    return corners.size() >= 3;
  }

  static std::uint32_t place(long number, std::size_t count) {
    long const index = number < 0 ? static_cast<long>(count) + number : number - 1;
    return number == 0 || index < 0 || index >= static_cast<long>(count) ? kNone : static_cast<std::uint32_t>(index);
  }

  ObjText& mesh_;
  std::string& error_;
  std::size_t line_number_ = 0;
  std::uint32_t material_ = kNone;
};

}  // namespace

bool read_obj_text(char const* path, ObjText& mesh, std::string& error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    error = "cannot be opened";
    return false;
  }
  return Reader(mesh, error).read(file);
}

}  // namespace mirel::support
