// The text form: "Name: value, value { children }", comments from ';' to the end of the line.
#include <fast_float/fast_float.h>

#include <charconv>
#include <limits>
#include <string>

#include "standalone/fbx/byte_order.h"
#include "standalone/fbx/element.h"
#include "standalone/fbx/numbers.h"

namespace mirel::fbx {
namespace {

// How far into a file its version is looked for.
constexpr std::size_t kVersionReach = 4096;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// Bytes of a word: a name, a number or a letter that stands for a value.
bool is_word(char c) {
  return !is_blank(c) && c != ',' && c != '{' && c != '}' && c != ':' && c != ';' && c != '"' && c != '*' && c != '\0';
}

bool begins_number(char c) {
  return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
}

class TextReader {
 public:
  TextReader(std::string_view bytes, ElementTree& tree)
      : at_(bytes.data()), begin_(bytes.data()), end_(bytes.data() + bytes.size()), tree_(tree) {}

  void read() {
    read_children(tree_.root, 0);
    if (tree_.version == 0) find_version_element();
  }

 private:
  // Fewer numbers than these are values of their own.
  static constexpr std::size_t kShortList = 4;

  [[noreturn]] void fail(char const* what) const {
    auto const line = 1 + std::count(begin_, at_, '\n');
    throw ReadError("Line " + std::to_string(line) + ": " + what);
  }

  void find_version_element() {
    Element const* const head = tree_.root.child("FBXHeaderExtension");
    Element const* const version = head == nullptr ? nullptr : head->child("FBXVersion");
    if (version == nullptr || version->value_count == 0) return;
    Value const& value = version->values[0];
    if (value.kind == Value::Kind::kInteger && value.integer > 0 && value.integer < 1000000) {
      tree_.version = static_cast<int>(value.integer);
    }
  }

  bool ended() const { return at_ >= end_; }
  void skip_blanks() {
    while (!ended()) {
      if (is_blank(*at_) || *at_ == '\0') {
        ++at_;
      } else if (*at_ == ';') {
        while (!ended() && *at_ != '\n') ++at_;
      } else {
        return;
      }
    }
  }

  // A word with the blanks inside it, up to the colon that makes it a name; false, and nothing read, when it is none.
  bool read_name(std::string_view& name) {
    char const* p = at_;
    while (p < end_ && is_word(*p)) ++p;
    char const* const word_end = p;
    while (p < end_ && (*p == ' ' || *p == '\t')) ++p;
    if (p >= end_ || *p != ':' || word_end == at_) return false;
    name = {at_, static_cast<std::size_t>(word_end - at_)};
    at_ = p + 1;
    return true;
  }

  void read_children(Element& parent, int depth) {
    if (depth > kDeepestElement) fail("elements are nested too deeply");
    Element* last = nullptr;
    for (;;) {
      skip_blanks();
      if (ended()) {
        if (depth > 0) fail("the file ends inside an element");
        return;
      }
      if (*at_ == '}') {
        ++at_;
        if (depth == 0) fail("a brace closes nothing");
        return;
      }
      std::string_view name;
      if (!read_name(name)) fail("expected the name of an element");
      Element* const element = tree_.add_element();
      element->name_bytes = name.data();
      element->name_size = static_cast<std::uint32_t>(name.size());
      read_values(*element);
      (last == nullptr ? parent.first_child : last->next) = element;
      last = element;
      skip_blanks();
      if (!ended() && *at_ == '{') {
        ++at_;
        read_children(*element, depth + 1);
      }
    }
  }

  void read_values(Element& element) {
    values_.clear();
    bool comma = true;
    for (;;) {
      skip_blanks();
      if (ended()) break;
      if (*at_ == ',') {
        comma = true;
        ++at_;
        continue;
      }
      if (!comma || *at_ == '{' || *at_ == '}') break;
      if (!read_value()) break;
      comma = false;
    }
    element.values = tree_.add_values(values_);
    element.value_count = static_cast<std::uint32_t>(values_.size());
  }

  // False, and nothing read, at the name of the next element.
  bool read_value() {
    Value value = {};
    if (*at_ == '"') {
      char const* const begin = at_ + 1;
      auto const* const close =
          static_cast<char const*>(std::memchr(begin, '"', static_cast<std::size_t>(end_ - begin)));
      if (close == nullptr) fail("a text is not closed");
      value.kind = Value::Kind::kText;
      value.bytes = begin;
      value.size = text_size(begin, close);
      at_ = close + 1;
    } else if (*at_ == '*') {
      ++at_;
      value.kind = Value::Kind::kLength;
      auto const result = std::from_chars(at_, end_, value.integer);
      if (result.ec != std::errc() || value.integer < 0) fail("an array has no length");
      at_ = result.ptr;
    } else if (begins_number(*at_) && read_numbers()) {
      return true;
    } else {
      char const* const begin = at_;
      char const* p = at_;
      while (p < end_ && is_word(*p)) ++p;
      if (p == begin) fail("unexpected character");
      if (p < end_ && *p == ':') return false;
      at_ = p;
      value = number_value(begin, p);
      if (value.kind == Value::Kind::kText) {
        value.bytes = begin;
        value.size = text_size(begin, p);
      }
    }
    add_value(value);
    return true;
  }

  void add_value(Value const& value) {
    // While a list moves to a larger place it is there twice.
    if (values_.size() == values_.capacity()) tree_.budget.take(2 * values_.size() * sizeof(Value));
    values_.push_back(value);
  }

  std::uint32_t text_size(char const* begin, char const* end) const {
    if (end - begin > std::numeric_limits<std::uint32_t>::max()) fail("a text is too long");
    return static_cast<std::uint32_t>(end - begin);
  }

  // All numbers from here on that are divided by commas: one value when they are many. False when the first word is no
  // number.
  bool read_numbers() {
    char const* const begin = at_;
    char const* p = at_;
    char const* list_end = at_;
    std::size_t count = 0;
    std::size_t const first_value = values_.size();
    for (;;) {
      char const* const word = p;
      while (p < end_ && is_word(*p)) ++p;
      if (p < end_ && *p == ':') break;
      if (p - word < 32 && count < kShortList) {
        Value const value = number_value(word, p);
        if (value.kind == Value::Kind::kText) break;
        add_value(value);
      }
      ++count;
      list_end = p;
      while (p < end_ && is_blank(*p)) ++p;
      if (p >= end_ || *p != ',') break;
      ++p;
      while (p < end_ && is_blank(*p)) ++p;
      if (p >= end_ || !begins_number(*p)) {
        // "nan" and "inf" begin with letters; so do the letters of other lists.
        if (p >= end_ || !begins_special_number({p, static_cast<std::size_t>(end_ - p)})) break;
      }
    }
    if (count == 0) return false;
    at_ = list_end;
    if (count <= kShortList && values_.size() - first_value == count) return true;
    values_.resize(first_value);
    Value value = {};
    value.kind = Value::Kind::kNumbers;
    value.bytes = begin;
    value.size = text_size(begin, list_end);
    add_value(value);
    return true;
  }

  char const* at_;
  char const* begin_;
  char const* end_;
  ElementTree& tree_;
  std::vector<Value> values_;
};

}  // namespace

Value number_value(char const* begin, char const* end) {
  Value value = {};
  value.kind = Value::Kind::kText;
  if (begin == end) return value;
  char const* const digits = *begin == '+' ? begin + 1 : begin;
  auto const whole = std::from_chars(digits, end, value.integer);
  if (whole.ec == std::errc() && whole.ptr == end) {
    value.kind = Value::Kind::kInteger;
    return value;
  }
  double real = 0;
  if (parse_number(begin, end, real)) {
    value.kind = Value::Kind::kReal;
    value.real = real;
  }
  return value;
}

bool begins_special_number(std::string_view text) {
  auto const begins = [&](std::string_view word) {
    if (text.size() < word.size()) return false;
    for (std::size_t k = 0; k < word.size(); ++k) {
      if ((text[k] | 0x20) != word[k]) return false;
    }
    return true;
  };
  return begins("nan") || begins("inf");
}

bool parse_number(char const* begin, char const* end, double& value) {
  char const* const digits = begin < end && *begin == '+' ? begin + 1 : begin;
  auto const result = fast_float::from_chars(digits, end, value);
  if (result.ec == std::errc() && result.ptr == end) return true;
  if (result.ec == std::errc::result_out_of_range && result.ptr == end) return true;
  if (result.ptr == digits) return false;
  // Microsoft's runtime: 1.#QNAN, -1.#IND, 1.#INF; others write nan(ind).
  std::string_view const rest(result.ptr, static_cast<std::size_t>(end - result.ptr));
  if (rest.front() == '#') {
    bool const infinite = rest.substr(0, 4) == "#INF";
    value = infinite ? (*begin == '-' ? -1 : 1) * std::numeric_limits<double>::infinity()
                     : std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  return rest.front() == '(' && value != value;
}

bool is_text(std::string_view bytes) {
  // Anything that begins with a comment or an element, and has no byte that text has not.
  std::size_t at = 0;
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") at = 3;
  while (at < bytes.size() && is_blank(bytes[at])) ++at;
  std::string_view const head = bytes.substr(at, 4096);
  if (head.empty() || head.find('\0') != std::string_view::npos) return false;
  if (head.front() == ';') return head.find("FBX") != std::string_view::npos;
  // Sections that a file may begin with when its head has been taken off.
  for (std::string_view const section : {"FBXHeaderExtension:", "FBXVersion:", "CreationTime:", "Creator:",
                                         "GlobalSettings:", "Documents:", "References:", "Definitions:", "Objects:"}) {
    if (head.substr(0, section.size()) == section) return true;
  }
  return false;
}

int find_version(std::string_view bytes) {
  if (is_binary(bytes)) {
    bool big_endian = false;
    return find_binary_version(bytes, big_endian);
  }
  // The element, else "; FBX 7.4.0 project file".
  std::string_view const head = bytes.substr(0, kVersionReach);
  std::size_t const element = head.find("FBXVersion:");
  if (element != std::string_view::npos) {
    char const* p = head.data() + element + 11;
    char const* const end = head.data() + head.size();
    while (p < end && *p == ' ') ++p;
    int version = 0;
    std::from_chars(p, end, version);
    if (version > 0 && version < 1000000) return version;
  }
  std::size_t const title = head.find("; FBX ");
  if (title == std::string_view::npos || title + 11 > head.size()) return 0;
  char const* const p = head.data() + title + 6;
  auto const digit = [&](int k) { return p[k] >= '0' && p[k] <= '9'; };
  if (!digit(0) || p[1] != '.' || !digit(2) || p[3] != '.' || !digit(4)) return 0;
  return (p[0] - '0') * 1000 + (p[2] - '0') * 100 + (p[4] - '0') * 10;
}

std::unique_ptr<ElementTree> read_text(std::string_view bytes) {
  auto tree = std::make_unique<ElementTree>(bytes.size());
  tree->is_text = true;
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
  TextReader(bytes, *tree).read();
  if (tree->version == 0) tree->version = find_version(bytes);
  return tree;
}

}  // namespace mirel::fbx
