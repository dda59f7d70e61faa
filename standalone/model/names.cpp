#include "standalone/model/names.h"

#include <cstdint>

namespace mirel::model {

namespace {

constexpr std::size_t kLongestName = 1000;
constexpr std::size_t kLongestFileName = 100;

// The length of the UTF-8 sequence at the place, or 0 where there is no valid one.
std::size_t sequence_length(std::string_view text, std::size_t at) {
  auto const byte = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
  unsigned char const first = byte(at);
  if (first < 0x80) {
    return 1;
  }
  std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || at + length > text.size()) {
    return 0;
  }
  std::uint32_t code = first & (0x7FU >> length);
  for (std::size_t place = 1; place < length; ++place) {
    if ((byte(at + place) & 0xC0) != 0x80) {
      return 0;
    }
    code = code << 6 | (byte(at + place) & 0x3FU);
  }
  bool const is_long = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  return is_long || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string clean_name(std::string_view name) {
  std::string result;
  for (std::size_t at = 0; at < name.size();) {
    std::size_t const length = sequence_length(name, at);
    std::string_view const piece = length == 0 ? "\xEF\xBF\xBD" : name.substr(at, length);
    if (result.size() + piece.size() > kLongestName) {
      break;
    }
    if (length == 1 && (static_cast<unsigned char>(name[at]) < 0x20 || name[at] == 0x7F)) {
      result += '_';
    } else {
      result += piece;
    }
    at += length == 0 ? 1 : length;
  }
  return result;
}

std::string clean_file_name(std::string_view name) {
  std::string result;
  for (char const letter : name.substr(name.size() > kLongestFileName ? name.size() - kLongestFileName : 0)) {
    bool const is_plain = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                          (letter >= '0' && letter <= '9') || letter == '.' || letter == '-' || letter == '_';
    result += is_plain ? letter : '_';
  }
  return result.empty() || result.front() == '.' ? "_" + result : result;
}

std::string UniqueNames::add(std::string const& name, bool is_file) {
  std::size_t const dot = is_file ? name.rfind('.') : std::string::npos;
  std::size_t const end = dot == std::string::npos ? name.size() : dot;
  std::string candidate = name;
  while (!used_.insert(candidate).second) {
    std::size_t& number = next_.try_emplace(name, 2).first->second;
    candidate = name.substr(0, end) + "_" + std::to_string(number++) + name.substr(end);
  }
  return candidate;
}

}  // namespace mirel::model
