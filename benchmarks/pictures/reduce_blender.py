"""The driver of Blender's decimate modifier (collapse) for textured meshes, for a Blender without a window:

blender -b --factory-startup --python reduce_blender.py -- INPUT FACES OUTPUT

Equal positions are one vertex of Blender's mesh; UVs and normals (as custom normals) are given corner by corner, and
read back so. The modifier's shares are of faces, and it gives triangles. Prints the version.
"""
import array
import json
import sys

import bpy


def read(path):
    with open(path, "rb") as stream:
        vertices, faces, textures = array.array("I", stream.read(12))
        positions = array.array("f", stream.read(12 * vertices))
        normals = array.array("f", stream.read(12 * vertices))
        uvs = array.array("f", stream.read(8 * vertices))
        corners = array.array("I", stream.read(12 * faces))
        face_textures = array.array("I", stream.read(4 * faces))
    return textures, positions, normals, uvs, corners, face_textures


def make_object(textures, positions, normals, uvs, corners, face_textures):
    numbers, places, number_of = {}, array.array("f"), []
    for i in range(0, len(positions), 3):
        key = tuple(positions[i:i + 3])
        if key not in numbers:
            numbers[key] = len(numbers)
            places.extend(key)
        number_of.append(numbers[key])
    mesh = bpy.data.meshes.new("input")
    count = len(face_textures)
    mesh.vertices.add(len(numbers))
    mesh.vertices.foreach_set("co", places)
    mesh.loops.add(3 * count)
    mesh.loops.foreach_set("vertex_index", array.array("i", [number_of[corner] for corner in corners]))
    mesh.polygons.add(count)
    mesh.polygons.foreach_set("loop_start", array.array("i", range(0, 3 * count, 3)))
    mesh.polygons.foreach_set("loop_total", array.array("i", [3]) * count)
    for k in range(textures):
        mesh.materials.append(bpy.data.materials.new(str(k)))
    mesh.polygons.foreach_set("material_index", array.array("i", face_textures))
    mesh.polygons.foreach_set("use_smooth", array.array("b", [1]) * count)
    layer = mesh.uv_layers.new()
    layer.data.foreach_set("uv", array.array("f", [c for v in corners for c in uvs[2 * v:2 * v + 2]]))
    mesh.update(calc_edges=True)
    mesh.use_auto_smooth = True
    mesh.normals_split_custom_set([tuple(normals[3 * v:3 * v + 3]) for v in corners])
    thing = bpy.data.objects.new("input", mesh)
    bpy.context.scene.collection.objects.link(thing)
    bpy.context.view_layer.update()
    return thing


def write(path, mesh, textures):
    mesh.calc_normals_split()
    mesh.calc_loop_triangles()
    layer = mesh.uv_layers.active.data
    numbers, vertices, corners, face_textures = {}, [], [], []
    for triangle in mesh.loop_triangles:
        face_textures.append(mesh.polygons[triangle.polygon_index].material_index)
        for loop in triangle.loops:
            key = (tuple(mesh.vertices[mesh.loops[loop].vertex_index].co), tuple(mesh.loops[loop].normal),
                   tuple(layer[loop].uv))
            if key not in numbers:
                numbers[key] = len(vertices)
                vertices.append(key)
            corners.append(numbers[key])
    with open(path, "wb") as stream:
        array.array("I", [len(vertices), len(face_textures), textures]).tofile(stream)
        for part in range(3):
            array.array("f", [c for vertex in vertices for c in vertex[part]]).tofile(stream)
        array.array("I", corners).tofile(stream)
        array.array("I", face_textures).tofile(stream)


def main(source, faces, destination):
    for thing in list(bpy.data.objects):
        bpy.data.objects.remove(thing)
    arrays = read(source)
    thing = make_object(*arrays)
    modifier = thing.modifiers.new("decimate", "DECIMATE")
    modifier.ratio = int(faces) / len(arrays[5])
    graph = bpy.context.evaluated_depsgraph_get()
    graph.update()
    write(destination, thing.evaluated_get(graph).to_mesh(), arrays[0])
    print(json.dumps({"version": bpy.app.version_string}))


main(*sys.argv[sys.argv.index("--") + 1:])
