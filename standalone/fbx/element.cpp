#include "standalone/fbx/element.h"

#include <algorithm>

namespace mirel::fbx {

Element* ElementTree::add_element() {
  if (elements_used_ == kBlockElements) {
    take(kBlockElements * sizeof(Element));
    element_blocks_.push_back(std::make_unique<Element[]>(kBlockElements));
    elements_used_ = 0;
  }
  return &element_blocks_.back()[elements_used_++];
}

Value* ElementTree::add_values(std::size_t count) {
  if (count == 0) return nullptr;
  if (value_block_size_ - values_used_ < count) {
    value_block_size_ = std::max(kBlockValues, count);
    take(value_block_size_ * sizeof(Value));
    value_blocks_.push_back(std::make_unique<Value[]>(value_block_size_));
    values_used_ = 0;
  }
  Value* const place = &value_blocks_.back()[values_used_];
  values_used_ += count;
  return place;
}

Value const* ElementTree::add_values(std::vector<Value> const& values) {
  Value* const place = add_values(values.size());
  std::copy(values.begin(), values.end(), place);
  return place;
}

std::unique_ptr<ElementTree> read_elements(std::string_view bytes) {
  if (is_binary(bytes)) return read_binary(bytes);
  if (is_text(bytes)) return read_text(bytes);
  throw ReadError("Not an FBX file");
}

}  // namespace mirel::fbx
