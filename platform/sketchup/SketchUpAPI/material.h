/* Materials and their textures. */
#pragma once

#include <SketchUpAPI/color.h>
#include <SketchUpAPI/common.h>

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SUMaterialCreate(SUMaterialRef* material);
enum SUResult SUMaterialSetName(SUMaterialRef material, const char* name);
enum SUResult SUMaterialGetName(SUMaterialRef material, SUStringRef* name);
enum SUResult SUMaterialSetColor(SUMaterialRef material, const SUColor* color);
/* The material takes the texture over. */
enum SUResult SUMaterialSetTexture(SUMaterialRef material, SUTextureRef texture);

enum SUResult SUTextureCreateFromFile(SUTextureRef* texture, const char* file_path, double s_scale, double t_scale);

#ifdef __cplusplus
}
#endif
