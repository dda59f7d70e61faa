#include "standalone/reading/off_header.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>

namespace mirel::reading {
namespace {

constexpr std::size_t kLongestHead = std::size_t{1} << 16;
// The shortest lines of vertices and faces, "0" and its line end.
constexpr std::uint64_t kBytesPerElement = 2;

// Words up to the end of the head, comments left out.
class Words {
 public:
  explicit Words(std::string const& text) : lines_(text) {}

  std::string next() {
    std::string word;
    std::string line;
    while (!(words_ >> word) && std::getline(lines_, line)) {
      words_ = std::istringstream(line.substr(0, line.find('#')));
    }
    return word;
  }

 private:
  std::istringstream lines_;
  std::istringstream words_;
};

// False where the word is no number; what is too large counts as the largest.
bool read_count(std::string const& word, std::uint64_t& count) {
  auto const [end, problem] = std::from_chars(word.data(), word.data() + word.size(), count);
  if (problem == std::errc::result_out_of_range) count = std::numeric_limits<std::uint64_t>::max();
  return problem != std::errc::invalid_argument && end == word.data() + word.size();
}

}  // namespace

std::string check_off_header(std::string const& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  auto const end = file.tellg();
  if (!file || end < 0) return {};
  auto const size = static_cast<std::uint64_t>(end);
  std::string head(static_cast<std::size_t>(std::min<std::uint64_t>(size, kLongestHead)), '\0');
  file.seekg(0);
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  Words words(head);
  // "OFF", with letters in front for what vertices have beyond a position; "n" for dimensions, whose number follows.
  std::string word = words.next();
  if (word.size() >= 3 && word.compare(word.size() - 3, 3, "OFF") == 0) {
    bool const has_dimensions = word.find('n') != std::string::npos;
    word = words.next();
    if (has_dimensions) word = words.next();
  }
  std::string const face_word = words.next();
  std::uint64_t vertices = 0;
  std::uint64_t faces = 0;
  if (!read_count(word, vertices) || !read_count(face_word, faces)) return {};
  std::uint64_t const most = size / kBytesPerElement;
  if (vertices <= most && faces <= most && vertices + faces <= most) return {};
  return "the file is damaged (its head announces " + word + " vertices and " + face_word + " faces, which " +
         std::to_string(size) + " bytes cannot hold)";
}

}  // namespace mirel::reading
