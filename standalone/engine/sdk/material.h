// A face set's material, as the mesh SDK hands it out.
#pragma once

#include <utility>

#include "standalone/engine/obj/obj_reader.h"
#include "standalone/engine/sdk/unused_slots.h"

namespace mirel::engine {

class Material final : public MaterialSlots {
 public:
  Material() = default;
  explicit Material(ObjMaterial data)
      : data_(std::move(data)), color_{data_.color[0], data_.color[1], data_.color[2], data_.color[3]} {}

  Color const* getColor() const override { return data_.has_color ? &color_ : nullptr; }
  char const* getTexturePath() const override {
    return data_.texture_path.empty() ? nullptr : data_.texture_path.c_str();
  }
  char const* getName() const override { return data_.name.c_str(); }
  bool isDefault() const override { return data_.is_default; }
  char const* getTextureBasePath() const override { return data_.texture_base_path.c_str(); }

 private:
  ObjMaterial data_;
  Color color_{1, 1, 1, 1};
};

}  // namespace mirel::engine
