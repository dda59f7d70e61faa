#include "src/export/sketchup_string.h"

#include "src/frame/boundary.h"
#include "src/frame/ruby_value.h"

namespace {

std::string readUTF8(SUStringRef string) {
  std::size_t length = 0;
  SUStringGetUTF8Length(string, &length);
  std::string text(length + 1, '\0');
  std::size_t copied = 0;
  SUStringGetUTF8(string, length + 1, text.data(), &copied);
  text.resize(length);
  return text;
}

}  // namespace

bool SketchupString::equals(SketchupString const& other) const {
  int order = 1;
  SUStringCompare(string_, other.string_, &order);
  return order == 0;
}

std::string SketchupString::toUTF8() const {
  return readUTF8(string_);
}

VALUE suStringToRubyString(SUStringRef string) {
  return boundary([&]() -> VALUE {
    std::string const text = readUTF8(string);
    return protect([&]() -> VALUE { return GetRubyInterface(text.c_str()); });
  });
}
