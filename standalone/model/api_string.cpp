// Strings of the C API, and its start and end.
#include <cstring>

#include "standalone/model/references.h"

using namespace mirel::model;

void SUInitialize() {}
void SUTerminate() {}

SUResult SUStringCreate(SUStringRef* out_string_ref) {
  return create(stores().texts, out_string_ref);
}

SUResult SUStringCreateFromUTF8(SUStringRef* out_string_ref, const char* char_array) {
  return answer([&] {
    if (char_array == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    if (SUResult const wrong = check_output(out_string_ref); wrong != SU_ERROR_NONE) {
      return wrong;
    }
    std::string text = char_array;
    Text* const made = stores().texts.make();
    made->text = std::move(text);
    out_string_ref->ptr = made;
    return SU_ERROR_NONE;
  });
}

SUResult SUStringRelease(SUStringRef* string_ref) {
  if (string_ref == nullptr) {
    return SU_ERROR_NULL_POINTER_INPUT;
  }
  Text* const text = resolve<Text>(string_ref->ptr);
  if (text == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  stores().texts.release(text);
  string_ref->ptr = nullptr;
  return SU_ERROR_NONE;
}

SUResult SUStringGetUTF8Length(SUStringRef string_ref, size_t* out_length) {
  Text const* const text = resolve<Text>(string_ref.ptr);
  return give_count(text, text == nullptr ? 0 : text->text.size(), out_length);
}

SUResult SUStringGetUTF8(SUStringRef string_ref, size_t char_array_length, char* out_char_array,
                         size_t* out_number_of_chars_copied) {
  Text const* const text = resolve<Text>(string_ref.ptr);
  if (text == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (out_char_array == nullptr || out_number_of_chars_copied == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  std::size_t const length = text->text.size();
  std::size_t const copied = std::min(length, char_array_length);
  std::memcpy(out_char_array, text->text.data(), copied);
  if (copied < char_array_length) {
    out_char_array[copied] = '\0';
  }
  *out_number_of_chars_copied = copied;
  return copied < length ? SU_ERROR_INSUFFICIENT_SIZE : SU_ERROR_NONE;
}

SUResult SUStringCompare(SUStringRef a, SUStringRef b, int* result) {
  Text const* const first = resolve<Text>(a.ptr);
  Text const* const second = resolve<Text>(b.ptr);
  if (first == nullptr || second == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (result == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  *result = first->text.compare(second->text);
  return SU_ERROR_NONE;
}
