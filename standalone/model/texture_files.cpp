#include "standalone/model/texture_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "standalone/model/picture.h"

namespace mirel::model {

namespace {

std::string base_name(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::vector<char> read_file(std::string const& path) {
  std::vector<char> content;
  if (std::FILE* const file = std::fopen(path.c_str(), "rb")) {
    char block[1 << 16];
    while (std::size_t const length = std::fread(block, 1, sizeof block, file)) {
      content.insert(content.end(), block, block + length);
    }
    if (std::ferror(file) != 0) {
      content.clear();
    }
    std::fclose(file);
  }
  return content;
}

// "png", "jpg", or empty for what glTF cannot take.
std::string image_kind(std::vector<char> const& content) {
  static constexpr char kPng[] = "\x89PNG\r\n\x1A\n";
  static constexpr char kJpeg[] = "\xFF\xD8\xFF";
  if (content.size() >= 8 && std::memcmp(content.data(), kPng, 8) == 0) {
    return "png";
  }
  return content.size() >= 3 && std::memcmp(content.data(), kJpeg, 3) == 0 ? "jpg" : "";
}

bool is_same_file(std::string const& a, std::string const& b) {
  struct stat first = {};
  struct stat second = {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

// The file's path from the folder on; empty where it is not in it, or of letters that not every program takes.
std::string path_inside(std::string const& folder, std::string const& file) {
  std::unique_ptr<char, decltype(&std::free)> const outer(realpath(folder.c_str(), nullptr), &std::free);
  std::unique_ptr<char, decltype(&std::free)> const inner(realpath(file.c_str(), nullptr), &std::free);
  if (outer == nullptr || inner == nullptr) {
    return {};
  }
  std::string const start = std::string(outer.get()) + "/";
  std::string const whole = inner.get();
  if (whole.compare(0, start.size(), start) != 0) {
    return {};
  }
  std::string inside = whole.substr(start.size());
  for (std::size_t begin = 0; begin <= inside.size();) {
    std::size_t const end = std::min(inside.find('/', begin), inside.size());
    std::string const part = inside.substr(begin, end - begin);
    if (clean_file_name(part) != part) {
      return {};
    }
    begin = end + 1;
  }
  return inside;
}

// The PNG that shows the same; empty where the picture cannot be read.
std::vector<char> as_png(std::vector<char> const& content) {
  std::optional<Picture> const picture =
      read_picture({reinterpret_cast<std::uint8_t const*>(content.data()), content.size()});
  return picture ? write_png(*picture) : std::vector<char>();
}

std::string with_png_ending(std::string const& name) {
  return name.substr(0, name.rfind('.')) + ".png";
}

}  // namespace

std::string TextureFiles::name_of(std::string const& path) {
  auto const [found, is_new] = known_.try_emplace(path);
  if (is_new) {
    found->second = place(path);
  }
  return found->second;
}

std::string TextureFiles::place(std::string const& path) {
  TextureFile file{base_name(path), path, {}};
  std::string kind;
  if (format_.takes_only_png_and_jpeg) {
    std::vector<char> content = read_file(path);
    kind = image_kind(content);
    if (kind.empty()) {
      content = as_png(content);
      if (content.empty()) {
        remarks.push_back("texture " + path + " is none of PNG, JPEG, TGA and BMP, and was left out");
        return {};
      }
      kind = "png";
      file.name = with_png_ending(file.name);
      file.source.clear();
    }
    if (format_.embeds_textures) {
      return embed(file.name, kind, content);
    }
    if (file.source.empty()) {
      file.content = std::move(content);
    }
  }
  if (!file.source.empty()) {
    if (std::string inside = path_inside(notes_.folder, path); !inside.empty()) {
      return inside;
    }
  }
  return put_beside(std::move(file));
}

std::string TextureFiles::embed(std::string const& name, std::string const& kind, std::vector<char> const& content) {
  auto made = std::make_unique<aiTexture>();
  made->mWidth = static_cast<unsigned int>(content.size());
  made->mHeight = 0;
  std::strncpy(made->achFormatHint, kind.c_str(), sizeof made->achFormatHint - 1);
  made->pcData = reinterpret_cast<aiTexel*>(new char[(content.size() / sizeof(aiTexel) + 1) * sizeof(aiTexel)]);
  std::memcpy(static_cast<void*>(made->pcData), content.data(), content.size());
  made->mFilename.Set(clean_name(name));
  embedded.push_back(std::move(made));
  return std::string("*").append(std::to_string(embedded.size() - 1));
}

std::string TextureFiles::put_beside(TextureFile file) {
  std::string const wanted = clean_file_name(file.name);
  for (;;) {
    file.name = file_names_.add(wanted, true);
    std::string const place = notes_.folder + "/" + file.name;
    struct stat status = {};
    if (!file.source.empty() && is_same_file(file.source, place)) {
      return file.name;
    }
    // Another file of that name stays as it is.
    if (lstat(place.c_str(), &status) != 0) {
      files.push_back(std::move(file));
      return files.back().name;
    }
    if (S_ISREG(status.st_mode) && read_file(place) == (file.source.empty() ? file.content : read_file(file.source))) {
      return file.name;
    }
  }
}

}  // namespace mirel::model
