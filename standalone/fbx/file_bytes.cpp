#include "standalone/fbx/file_bytes.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "standalone/fbx/element.h"

namespace mirel::fbx {

bool FileBytes::read(std::string const& path, std::size_t limit, std::string& error) {
  size_ = 0;
  auto const fail = [&](std::string const& why) {
    error = why;
    return false;
  };
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> const file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) return fail(std::string("Cannot open the file: ") + std::strerror(errno));
  struct stat status = {};
  if (fstat(fileno(file.get()), &status) != 0) return fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) return fail("Not a regular file");
  std::size_t const wanted = std::min(limit, static_cast<std::size_t>(status.st_size));
  if (!bytes_.allocate(wanted + kReadAhead)) return fail("There is not enough memory for the file");
  size_ = std::fread(bytes_.data(), 1, wanted, file.get());
  std::memset(bytes_.data() + size_, 0, kReadAhead);
  if (std::ferror(file.get()) != 0) return fail(std::string("Cannot read the file: ") + std::strerror(errno));
  return true;
}

}  // namespace mirel::fbx
