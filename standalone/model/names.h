// Names as files can carry them.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace mirel::model {

// Valid UTF-8 without control characters, at most 1000 bytes: what is not is replaced, what is too long cut.
std::string clean_name(std::string_view name);

// A file name of letters, digits, '.', '-' and '_' that ends as the given one does; never empty, never a dot file.
std::string clean_file_name(std::string_view name);

// Makes names different from each other by a number at the end, before the extension for a file's.
class UniqueNames {
 public:
  std::string add(std::string const& name, bool is_file = false);

 private:
  std::unordered_set<std::string> used_;
  std::unordered_map<std::string, std::size_t> next_;  // per name, the number to try next
};

}  // namespace mirel::model
