// The bytes of a file, with a few readable ones behind them.
#pragma once

#include <string>
#include <string_view>

#include "standalone/fbx/array.h"

namespace mirel::fbx {

class FileBytes {
 public:
  // At most `limit` bytes. False, with the reason in `error`, when the file cannot be read.
  [[nodiscard]] bool read(std::string const& path, std::size_t limit, std::string& error);
  std::string_view view() const { return {bytes_.data(), size_}; }

 private:
  Array<char> bytes_;
  std::size_t size_ = 0;
};

}  // namespace mirel::fbx
