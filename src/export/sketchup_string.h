// Text of the SketchUp C API: strings that are released with their scope, and objects found by their names.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <ruby.h>

#include <string>
#include <vector>

// A string of the API's own. Its creation is not checked: an invalid one reads as empty and equals nothing.
class SketchupString {
 public:
  SketchupString() { SUStringCreate(&string_); }
  explicit SketchupString(char const* text) { SUStringCreateFromUTF8(&string_, text); }
  ~SketchupString() {
    if (string_.ptr != nullptr) {
      SUStringRelease(&string_);
    }
  }
  SketchupString(SketchupString const&) = delete;
  SketchupString& operator=(SketchupString const&) = delete;

  SUStringRef get() const { return string_; }
  // Where a Get function writes a name.
  SUStringRef* out() { return &string_; }
  bool equals(SketchupString const& other) const;
  std::string toUTF8() const;

 private:
  SUStringRef string_ = {};
};

// The first of the references whose name, as `getName(reference, SUStringRef*)` tells it, equals `name`, or an
// invalid reference. Nothing is checked.
template <typename Reference, typename GetName>
Reference findByName(std::vector<Reference> const& references, char const* name, GetName getName) {
  SketchupString const wanted(name);
  SketchupString found;
  for (Reference const reference : references) {
    getName(reference, found.out());
    if (found.equals(wanted)) {
      return reference;
    }
  }
  return {};
}

// Up to `count` references, as `getAll(length, references, &copied)` gives them. Nothing is checked.
template <typename Reference, typename GetAll>
std::vector<Reference> getReferences(std::size_t count, GetAll getAll) {
  // One place more, so that the API gets an array to write to even when nothing is due.
  std::vector<Reference> references(count + 1);
  std::size_t copied = 0;
  getAll(count, references.data(), &copied);
  references.resize(copied < count ? copied : count);
  return references;
}

// A Ruby String tagged UTF-8; empty for an invalid string.
VALUE suStringToRubyString(SUStringRef string);
