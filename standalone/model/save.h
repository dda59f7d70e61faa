// Writes a model to a file in an open format.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "standalone/model/scene.h"

namespace mirel::model {

// A format that can be written.
struct Format {
  char const* extension;      // in small letters, without the dot
  char const* exporter;       // the library's name for it
  bool has_nodes;             // a tree of nodes; else all is written as it stands in the scene
  bool turns_to_meters_y_up;  // else as in the model
  bool has_one_sided_faces;   // and so can show another material on the back
  bool embeds_textures;       // else they are copied beside the file
  bool takes_only_png_and_jpeg;
  bool needs_normals;
  unsigned int needless_steps;  // which the exporter would take first, and which triangles from here do not need
};

// What a model means, and where its files end up: see mirel_model_set_scene.
struct SceneNotes {
  std::string name = "Model";
  double meters_per_unit = 0.0254;
  bool is_y_up = false;
  bool has_normals = true;
  std::string folder;
};

// Those of the models saved from now on.
SceneNotes& scene_notes();

// The format of a path by its extension, in any case; null for one that cannot be written.
Format const* find_format(std::string_view path);

// Writes the model and its side files (.bin, .mtl, textures): into a new folder beside `path` first, and then, when
// everything is on the disk, to where they belong, the main file last. False when the format is unknown or something
// could not be written; nothing is left behind then, and earlier files are as they were. `save_message` says why.
bool save_model(Model const& model, std::string const& path);

// What the last save has to say: why it failed, or what it had to leave out; empty otherwise. One line.
std::string const& save_message();

}  // namespace mirel::model
