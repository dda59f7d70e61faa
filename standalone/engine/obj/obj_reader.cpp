// The road of an OBJ file: blocks of whole lines, statements, one soup of elements, meshes, materials.
#include "standalone/engine/obj/obj_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "standalone/engine/obj/material_library.h"
#include "standalone/engine/obj/obj_soup.h"
#include "standalone/engine/obj/statement_parser.h"
#include "standalone/text/decimal.h"

namespace mirel::engine {
namespace {

#ifdef MIREL_SMALL_THRESHOLDS
// For fuzzing: the borders of blocks come up in short files too.
constexpr std::size_t kFirstBlock = 16;
#else
constexpr std::size_t kFirstBlock = std::size_t{1} << 18;  // stays in the second-level cache
#endif
constexpr std::size_t kLongestLine = std::size_t{1} << 28;
constexpr std::size_t kPadding = 2 + text::kReadAhead;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// A stretch of memory or an open file.
class Source {
 public:
  explicit Source(int file, std::uint64_t size) : file_(file), left_(size) {}
  Source(char const* text, std::size_t size) : text_(text), left_(size) {}

  // Returns the number of bytes, 0 at the end, -1 with errno set.
  ssize_t read(char* to, std::size_t most) {
    if (text_ != nullptr) {
      std::size_t const count = std::min<std::size_t>(most, static_cast<std::size_t>(left_));
      std::memcpy(to, text_, count);
      text_ += count;
      left_ -= count;
      return static_cast<ssize_t>(count);
    }
    if (file_ < 0) return 0;
    ssize_t count = 0;
    do {
      count = ::read(file_, to, most);
    } while (count < 0 && errno == EINTR);
    if (count > 0) left_ -= std::min<std::uint64_t>(left_, static_cast<std::uint64_t>(count));
    return count;
  }

  // What is still to come, 0 where that is not known.
  std::uint64_t bytes_to_come() const { return left_; }

 private:
  char const* text_ = nullptr;
  int file_ = -1;
  std::uint64_t left_ = 0;
};

// The end of the last line in [begin, end) that the next one does not continue, null where there is none.
char const* end_of_last_line(char const* begin, char const* end) {
  for (char const* p = end; p != begin; --p) {
    char const last = p[-1];
    if (last != '\n' && last != '\r') continue;
    // The other half of this line end may be in the next block.
    if (last == '\r' && p == end) continue;
    if (last == '\r' && p != end && *p == '\n') continue;
    char const* line_end = p - 1;
    if (last == '\n' && line_end != begin && line_end[-1] == '\r') --line_end;
    if (line_end != begin && line_end[-1] == '\\') continue;
    return p;
  }
  return nullptr;
}

struct Block {
  std::unique_ptr<char[]> bytes;
  std::size_t capacity = 0;
  std::size_t size = 0;

  void grow() {
    std::size_t const larger = capacity == 0 ? kFirstBlock : capacity * 2;
    std::unique_ptr<char[]> moved(new char[larger + kPadding]);
    if (size > 0) std::memcpy(moved.get(), bytes.get(), size);
    bytes = std::move(moved);
    capacity = larger;
  }
};

struct Failure {
  std::string reason;
  std::uint64_t line = 0;
};

// Nothing but blanks, line ends and whole lines reach the parser; what is left of the last line is kept for the next
// block.
bool parse_source(Source& source, StatementParser& parser, Failure& failure) {
  Block block;
  block.grow();
  bool is_first = true;
  for (bool at_end = false; !at_end;) {
    ssize_t const count = source.read(block.bytes.get() + block.size, block.capacity - block.size);
    if (count < 0) {
      failure = {std::strerror(errno), 0};
      return false;
    }
    at_end = count == 0;
    block.size += static_cast<std::size_t>(count);
    if (is_first && block.size < kByteOrderMark.size() && !at_end) continue;
    char* const begin = block.bytes.get();
    char* const end = begin + block.size;
    char const* from = begin;
    std::string_view const start(begin, std::min<std::size_t>(block.size, 2));
    if (is_first && (start == "\xFF\xFE" || start == "\xFE\xFF")) {
      failure = {"not OBJ text but UTF-16; it has to be saved as UTF-8", 0};
      return false;
    }
    if (is_first && std::string_view(begin, block.size).starts_with(kByteOrderMark)) from += kByteOrderMark.size();
    is_first = false;
    // A file may end without a line end, or with a backslash in front of it; and numbers are read ahead.
    std::memset(end, '\n', kPadding);
    char const* const to = at_end ? end + 1 : end_of_last_line(from, end);
    if (to != nullptr) {
      if (!parser.parse(from, to, source.bytes_to_come())) {
        failure = {parser.error(), parser.error_line()};
        return false;
      }
      from = std::min<char const*>(to, end);
    } else if (block.size == block.capacity) {
      if (std::memchr(begin, 0, block.size) != nullptr || block.capacity >= kLongestLine) {
        failure = {"not OBJ text: a line without end", 0};
        return false;
      }
      block.grow();
      continue;
    }
    block.size = static_cast<std::size_t>(end - from);
    std::memmove(begin, from, block.size);
  }
  return true;
}

void add_materials(StatementParser& parser, std::string const& folder, ObjFile& file,
                   std::vector<std::string>& warnings) {
  ObjSoup& soup = parser.soup();
  MaterialLibrary library;
  if (!folder.empty()) {
    for (std::string const& statement : soup.libraries) library.load(statement, folder);
  }
  std::vector<char> is_reported(soup.material_names.size(), 0);
  for (std::size_t m = 0; m < file.meshes.size(); ++m) {
    for (std::uint32_t const number : soup.materials_of_mesh[m]) {
      std::string const& name = soup.material_names[number];
      ObjMaterial& material = file.meshes[m].materials.emplace_back();
      if (name.empty()) continue;
      if (ObjMaterial const* found = library.find(name)) {
        material = *found;
        continue;
      }
      material.name = name;
      material.is_default = false;
      if (is_reported[number] == 0) library.warnings().push_back("no material library has the material " + name);
      is_reported[number] = 1;
    }
  }
  warnings.insert(warnings.end(), library.warnings().begin(), library.warnings().end());
}

ObjResult parse(Source& source, std::string const& path, std::string const& folder) {
  ObjResult result;
  StatementParser parser;
  Failure failure;
  bool ok = parse_source(source, parser, failure);
  if (ok && !parser.finish()) {
    failure = {parser.error(), parser.error_line()};
    ok = false;
  }
  if (!ok) {
    result.error = path;
    if (failure.line > 0) result.error.append(":").append(std::to_string(failure.line));
    result.error.append(": ").append(failure.reason);
    return result;
  }
  for (std::string const& warning : parser.soup().warnings) result.warnings.push_back(path + ": " + warning);
  ObjFile file;
  file.meshes = divide_soup(parser.soup());
  add_materials(parser, folder, file, result.warnings);
  result.file = std::move(file);
  return result;
}

template <typename Work>
ObjResult without_exceptions(std::string const& path, Work work) noexcept {
  ObjResult result;
  try {
    return work();
  } catch (std::bad_alloc const&) {
    result.error = path + ": not enough memory";
  } catch (std::exception const& exception) {
    result.error = path + ": " + exception.what();
  }
  return result;
}

class OpenFile {
 public:
  explicit OpenFile(char const* path) : number_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~OpenFile() {
    if (number_ >= 0) close(number_);
  }
  OpenFile(OpenFile const&) = delete;
  OpenFile& operator=(OpenFile const&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

std::string folder_of(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

ObjResult read_obj(char const* path) {
  if (path == nullptr) return {std::nullopt, "no file name", {}};
  return without_exceptions(path, [&] {
    auto const failed = [&](int code) {
      return ObjResult{std::nullopt, std::string(path) + ": " + std::strerror(code), {}};
    };
    OpenFile const file(path);
    if (file.number() < 0) return failed(errno);
    struct stat status {};
    if (fstat(file.number(), &status) != 0) return failed(errno);
    if (S_ISDIR(status.st_mode)) return failed(EISDIR);
    Source source(file.number(), S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0);
    return parse(source, path, folder_of(path));
  });
}

ObjResult parse_obj(char const* text, std::size_t size, std::string const& path, std::string const& folder) {
  return without_exceptions(path, [&] {
    Source source(text, text == nullptr ? 0 : size);
    return parse(source, path, folder);
  });
}

}  // namespace mirel::engine
