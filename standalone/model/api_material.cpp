// Materials and textures of the C API.
#include <sys/stat.h>

#include <cmath>
#include <cstdio>

#include "standalone/model/references.h"

using namespace mirel::model;

namespace {

// A regular file with something in it, and readable.
bool is_readable_file(char const* path) {
  std::FILE* const file = std::fopen(path, "rb");
  if (file == nullptr) {
    return false;
  }
  struct stat status = {};
  bool const is_good = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) && std::fgetc(file) != EOF;
  std::fclose(file);
  return is_good;
}

}  // namespace

SUResult SUMaterialCreate(SUMaterialRef* material) {
  return create(stores().materials, material);
}

SUResult SUMaterialSetName(SUMaterialRef material, const char* name) {
  return set_name<Material>(material, name);
}

SUResult SUMaterialGetName(SUMaterialRef material, SUStringRef* name) {
  return get_name<Material>(material, name);
}

SUResult SUMaterialSetColor(SUMaterialRef material, const SUColor* color) {
  Material* const object = resolve<Material>(material.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (color == nullptr) {
    return SU_ERROR_NULL_POINTER_INPUT;
  }
  object->color = *color;
  return SU_ERROR_NONE;
}

SUResult SUMaterialSetTexture(SUMaterialRef material, SUTextureRef texture) {
  Material* const object = resolve<Material>(material.ptr);
  Texture* const image = resolve<Texture>(texture.ptr);
  if (object == nullptr || image == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (object->texture == image) {
    return SU_ERROR_NONE;
  }
  if (image->has_owner) {
    return SU_ERROR_DUPLICATE;
  }
  if (object->texture != nullptr) {
    stores().textures.release(object->texture);
  }
  object->texture = image;
  image->has_owner = true;
  return SU_ERROR_NONE;
}

SUResult SUTextureCreateFromFile(SUTextureRef* texture, const char* file_path, double s_scale, double t_scale) {
  return answer([&] {
    if (file_path == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    if (SUResult const wrong = check_output(texture); wrong != SU_ERROR_NONE) {
      return wrong;
    }
    if (!(s_scale > 0) || !(t_scale > 0) || !std::isfinite(s_scale) || !std::isfinite(t_scale)) {
      return SU_ERROR_OUT_OF_RANGE;
    }
    if (!is_readable_file(file_path)) {
      return SU_ERROR_SERIALIZATION;
    }
    std::string path = file_path;
    Texture* const made = stores().textures.make();
    made->path = std::move(path);
    made->width = s_scale;
    made->height = t_scale;
    texture->ptr = made;
    return SU_ERROR_NONE;
  });
}
