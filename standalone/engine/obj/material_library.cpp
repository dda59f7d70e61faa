#include "standalone/engine/obj/material_library.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

#include "standalone/text/decimal.h"

namespace mirel::engine {
namespace {

// A library with more than this many problems says the same thing over and over.
constexpr std::size_t kMostWarnings = 100;
constexpr std::size_t kLargestLibrary = std::size_t{1} << 28;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view take_token(std::string_view& text) {
  text = trimmed(text);
  std::size_t length = 0;
  while (length < text.size() && !is_blank(text[length])) ++length;
  std::string_view const token = text.substr(0, length);
  text.remove_prefix(length);
  text = trimmed(text);
  return token;
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
           return lower(x) == lower(y);
         });
}

bool to_number(std::string_view token, float& value) {
  std::string padded(token);
  padded.append(text::kReadAhead + 1, '\0');
  char const* const end = text::scan_float(padded.data(), value);
  return end != nullptr && end == padded.data() + token.size();
}

bool to_unit_number(std::string_view token, float& value) {
  if (!to_number(token, value) || !std::isfinite(value)) return false;
  value = std::clamp(value, 0.0F, 1.0F);
  return true;
}

std::string unquoted(std::string_view text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
  return std::string(text);
}

struct TextureOption {
  std::string_view name;
  int fewest, most;     // arguments
  bool numbers = true;  // what they are
};

constexpr TextureOption kTextureOptions[] = {
    {"-blendu", 1, 1, false},
    {"-blendv", 1, 1, false},
    {"-boost", 1, 1},
    {"-mm", 2, 2},
    {"-o", 1, 3},
    {"-s", 1, 3},
    {"-t", 1, 3},
    {"-texres", 1, 1},
    {"-clamp", 1, 1, false},
    {"-bm", 1, 1},
    {"-imfchan", 1, 1, false},
    {"-cc", 1, 1, false},
    {"-type", 1, 1, false},
    {"-colorspace", 1, 1, false},
};

// The file name behind the options; it may hold blanks.
std::string_view texture_name(std::string_view text) {
  for (;;) {
    std::string_view rest = text;
    std::string_view const token = take_token(rest);
    auto const* const option = std::find_if(std::begin(kTextureOptions), std::end(kTextureOptions),
                                            [&](auto const& o) { return equals_ignoring_case(o.name, token); });
    if (option == std::end(kTextureOptions)) return text;
    for (int taken = 0; taken < option->most; ++taken) {
      std::string_view behind = rest;
      std::string_view const argument = take_token(behind);
      float number = 0;
      if (option->numbers && !to_number(argument, number)) break;
      // The last word is the name, even where it looks like one more argument.
      if (behind.empty() && taken >= option->fewest) break;
      rest = behind;
    }
    text = rest;
  }
}

std::string joined(std::string const& folder, std::string const& name) {
  if (folder.empty() || name.empty() || name.front() == '/') return name;
  return folder.back() == '/' ? folder + name : folder + "/" + name;
}

std::string folder_of(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Opens nothing but plain files: a device or a pipe might never end.
bool read_file(std::string const& path, std::string& text, std::string& problem) {
  int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    problem = std::strerror(errno);
    return false;
  }
  struct stat status {};
  bool ok = fstat(file, &status) == 0;
  if (!ok) {
    problem = std::strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    problem = S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "Not a plain file";
    ok = false;
  } else if (static_cast<std::uint64_t>(status.st_size) > kLargestLibrary) {
    problem = std::strerror(EFBIG);
    ok = false;
  }
  text.clear();
  char block[1 << 14];
  while (ok) {
    ssize_t const count = read(file, block, sizeof block);
    if (count > 0) {
      text.append(block, static_cast<std::size_t>(count));
      if (text.size() <= kLargestLibrary) continue;
      problem = std::strerror(EFBIG);
      ok = false;
    } else if (count == 0) {
      break;
    } else if (errno != EINTR) {
      problem = std::strerror(errno);
      ok = false;
    }
  }
  close(file);
  return ok;
}

std::vector<std::string> divide_behind_suffix(std::string_view text) {
  std::vector<std::string> names;
  std::string_view rest = text;
  std::string_view name = text;
  while (!rest.empty()) {
    std::string_view const token = take_token(rest);
    bool const ends_name = token.size() > 4 && equals_ignoring_case(token.substr(token.size() - 4), ".mtl");
    if (!ends_name && !rest.empty()) continue;
    name = trimmed(std::string_view(name.data(), static_cast<std::size_t>(token.data() + token.size() - name.data())));
    names.emplace_back(name);
    name = rest;
  }
  return names;
}

}  // namespace

void MaterialLibrary::warn(std::string text) {
  if (warnings_.size() < kMostWarnings) warnings_.push_back(std::move(text));
}

ObjMaterial const* MaterialLibrary::find(std::string const& name) const {
  auto const found = materials_.find(name);
  return found == materials_.end() ? nullptr : &found->second;
}

void MaterialLibrary::finish_material() {
  if (is_open_) materials_.emplace(current_.name, std::move(current_));
  is_open_ = false;
}

void MaterialLibrary::parse(std::string_view text, std::string const& path, std::string const& folder) {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  path_ = &path;
  line_ = 0;
  std::string continued;
  while (!text.empty()) {
    std::size_t const length = std::min(text.find_first_of("\r\n"), text.size());
    std::string_view line = text.substr(0, length);
    text.remove_prefix(length);
    if (text.substr(0, 2) == "\r\n") text.remove_prefix(1);
    if (!text.empty()) text.remove_prefix(1);
    ++line_;
    bool const is_comment = continued.empty() && trimmed(line).substr(0, 1) == "#";
    if (!is_comment && !line.empty() && line.back() == '\\' && !text.empty()) {
      line.remove_suffix(1);
      continued.append(line).append(" ");
      continue;
    }
    if (continued.empty()) {
      parse_line(line, folder);
    } else {
      parse_line(continued.append(line), folder);
      continued.clear();
    }
  }
  if (!continued.empty()) parse_line(continued, folder);
  finish_material();
}

void MaterialLibrary::parse_line(std::string_view line, std::string const& folder) {
  std::string_view rest = line;
  std::string_view const keyword = take_token(rest);
  if (equals_ignoring_case(keyword, "newmtl")) {
    finish_material();
    current_ = ObjMaterial();
    current_.name = rest;
    current_.is_default = false;
    is_open_ = true;
    has_dissolve_ = false;
    return;
  }
  if (!is_open_) return;
  bool ok = true;
  if (equals_ignoring_case(keyword, "Kd")) {
    float color[3];
    std::string_view const first = take_token(rest);
    ok = to_unit_number(first, color[0]);
    color[1] = color[2] = color[0];
    if (ok && !rest.empty() && rest.front() != '#') {
      ok = to_unit_number(take_token(rest), color[1]) && to_unit_number(take_token(rest), color[2]);
    }
    if (ok) {
      std::copy_n(color, 3, current_.color);
      current_.has_color = true;
    }
  } else if (equals_ignoring_case(keyword, "d")) {
    std::string_view token = take_token(rest);
    if (token == "-halo") token = take_token(rest);
    float opacity = 1;
    ok = to_unit_number(token, opacity);
    if (ok) {
      current_.color[3] = opacity;
      current_.has_color = has_dissolve_ = true;
    }
  } else if (equals_ignoring_case(keyword, "Tr")) {
    float transparency = 0;
    ok = to_unit_number(take_token(rest), transparency);
    if (ok && !has_dissolve_) {
      current_.color[3] = 1 - transparency;
      current_.has_color = true;
    }
  } else if (equals_ignoring_case(keyword, "map_Kd")) {
    std::string name = unquoted(texture_name(rest));
    ok = !name.empty();
    if (ok) {
      current_.texture_path = std::move(name);
      current_.texture_base_path = folder;
    }
  }
  if (!ok) warn(*path_ + ":" + std::to_string(line_) + ": malformed " + std::string(keyword) + ", passed over");
}

bool MaterialLibrary::load_file(std::string const& name, std::string const& folder, std::string& problem) {
  std::vector<std::string> candidates = {joined(folder, name)};
  if (name.find('\\') != std::string::npos) {
    std::string slashed = name;
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    candidates.push_back(joined(folder, slashed));
  }
  std::size_t const separator = name.find_last_of("/\\");
  if (separator != std::string::npos) candidates.push_back(joined(folder, name.substr(separator + 1)));
  std::string text;
  for (std::string const& path : candidates) {
    std::string reason;
    if (path.find('\0') == std::string::npos && read_file(path, text, reason)) {
      parse(text, path, folder_of(path));
      return true;
    }
    if (problem.empty()) problem = reason;
  }
  return false;
}

void MaterialLibrary::load(std::string const& statement, std::string const& folder) {
  std::string problem;
  std::string const whole = unquoted(statement);
  if (whole.empty()) return;
  if (load_file(whole, folder, problem)) return;
  std::vector<std::string> names = divide_behind_suffix(statement);
  if (names.size() == 1) {
    names.clear();
    std::string_view rest = statement;
    while (!rest.empty()) names.emplace_back(take_token(rest));
  }
  if (names.size() == 1) {
    warn("material library " + joined(folder, whole) + ": " + problem);
    return;
  }
  for (std::string const& name : names) {
    problem.clear();
    if (!load_file(unquoted(name), folder, problem)) warn("material library " + joined(folder, name) + ": " + problem);
  }
}

}  // namespace mirel::engine
