// What the standalone host wants to know of an FBX file beyond the FBX SDK's contract, as plain C.
//
// Every function speaks of the file that FbxImporter::Import of this process last read with success, as the file has
// it; before the first, numbers are 0 and texts "". Texts are UTF-8 and stay until the next file is read. No function
// throws.
#ifndef MIREL_FBX_H
#define MIREL_FBX_H

#ifdef __cplusplus
extern "C" {
#endif

// 7400 for 7.4.
int mirel_fbx_version(void);
// 1 for text, 0 for binary.
int mirel_fbx_is_ascii(void);
// The library or tool that wrote the file, and the application that it was written from; "" where it does not say.
char const* mirel_fbx_creator(void);
char const* mirel_fbx_application(void);
// Which axis points to the right (0), up (1), to the front (2): 1 X, 2 Y, 3 Z, negative for the other way.
int mirel_fbx_axis(int direction);
// The length of a unit in centimeters.
double mirel_fbx_unit(void);

// How many of its meshes and surfaces were not cut into triangles so far, for they would have taken more memory than
// the file's size is trusted with.
int mirel_fbx_shapes_left_out(void);

// Writes every picture that the file has inside into a folder, under the last part of its name; a file of that name
// that is there already stays. Returns how many were written, -1 where the file cannot be read. Speaks of the file at
// `path`, whatever was read last.
int mirel_fbx_extract_media(char const* path, char const* folder);
// Managers, each with a scene of its own, that are alive: for leak checks.
int mirel_fbx_live_managers(void);

#ifdef __cplusplus
}
#endif

#endif
