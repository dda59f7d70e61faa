"""Turns an OBJ file with its materials into the mesh and the textures of the picture benchmark:

blender -b --factory-startup --python convert_obj.py -- INPUT.obj MESH TEXTURES [PICTURE]

PICTURE is the texture where the file names no material. Blender is only used to read picture files. Polygons are cut
into fans; corners without a normal get the mean of the faces around their position, weighed by area.
"""
import array
import os
import sys

import bpy


def read_materials(path):
    """name to (picture or None, colour)"""
    found, name = {}, None
    if not os.path.exists(path):
        return found
    for line in open(path, errors="replace"):
        words = line.split()
        if not words:
            continue
        if words[0] == "newmtl":
            name = line.split(None, 1)[1].strip()
            found[name] = (None, (200, 200, 200))
        elif words[0] == "Kd" and name:
            found[name] = (found[name][0], tuple(min(255, round(255 * float(c))) for c in words[1:4]))
        elif words[0] == "map_Kd" and name:
            picture = line.split(None, 1)[1].strip().replace("\\", "/")
            found[name] = (os.path.join(os.path.dirname(path), os.path.basename(picture)), found[name][1])
    return found


def texture(picture, colour):
    if picture is None or not os.path.exists(picture):
        return 1, 1, bytes(colour)
    image = bpy.data.images.load(picture)
    width, height = image.size
    pixels = array.array("f", [0.0]) * (4 * width * height)
    image.pixels.foreach_get(pixels)
    rgb = bytearray()
    for y in reversed(range(height)):
        row = pixels[4 * width * y:4 * width * (y + 1)]
        for x in range(width):
            rgb += bytes(min(255, max(0, round(255 * c))) for c in row[4 * x:4 * x + 3])
    return width, height, bytes(rgb)


def main(source, mesh_path, texture_path, picture=None):
    positions, normals, uvs, materials = [], [], [], {}
    texture_of, textures, current = {}, [], 0
    faces, face_textures = [], []
    if picture is not None:
        textures = [texture(picture, (200, 200, 200))]
    for line in open(source, errors="replace"):
        words = line.split()
        if not words:
            continue
        if words[0] == "v":
            positions.append(tuple(float(c) for c in words[1:4]))
        elif words[0] == "vn":
            normals.append(tuple(float(c) for c in words[1:4]))
        elif words[0] == "vt":
            uvs.append(tuple(float(c) for c in words[1:3]))
        elif words[0] == "mtllib":
            materials.update(read_materials(os.path.join(os.path.dirname(source), line.split(None, 1)[1].strip())))
        elif words[0] == "usemtl" and picture is None:
            name = line.split(None, 1)[1].strip()
            if name not in texture_of:
                texture_of[name] = len(textures)
                textures.append(texture(*materials.get(name, (None, (200, 200, 200)))))
            current = texture_of[name]
        elif words[0] == "f":
            corners = []
            for word in words[1:]:
                parts = (word.split("/") + ["", ""])[:3]
                numbers = [int(part) if part else 0 for part in parts]
                limits = (len(positions), len(uvs), len(normals))
                corners.append(tuple(n - 1 if n > 0 else limit + n if n < 0 else -1
                                     for n, limit in zip(numbers, limits)))
            for i in range(1, len(corners) - 1):
                faces.append((corners[0], corners[i], corners[i + 1]))
                face_textures.append(current)
    if not textures:
        textures = [(1, 1, bytes((200, 200, 200)))]

    smooth = {}
    for face in faces:
        a, b, c = (positions[corner[0]] for corner in face)
        e, f = [y - x for x, y in zip(a, b)], [y - x for x, y in zip(a, c)]
        n = (e[1] * f[2] - e[2] * f[1], e[2] * f[0] - e[0] * f[2], e[0] * f[1] - e[1] * f[0])
        for corner in face:
            total = smooth.setdefault(positions[corner[0]], [0.0, 0.0, 0.0])
            for k in range(3):
                total[k] += n[k]

    def unit(n):
        length = sum(c * c for c in n) ** 0.5
        return tuple(c / length for c in n) if length > 0 else (0.0, 0.0, 1.0)

    numbers, vertices, indices, kept_textures = {}, [], [], []
    for face, number in zip(faces, face_textures):
        if len({positions[corner[0]] for corner in face}) < 3:
            continue
        kept_textures.append(number)
        for position, uv, normal in face:
            place = positions[position]
            key = (place, unit(normals[normal] if normal >= 0 else smooth[place]),
                   uvs[uv] if uv >= 0 else (0.0, 0.0), number)
            if key not in numbers:
                numbers[key] = len(vertices)
                vertices.append(key)
            indices.append(numbers[key])
    with open(mesh_path, "wb") as stream:
        array.array("I", [len(vertices), len(kept_textures), len(textures)]).tofile(stream)
        for part in range(3):
            array.array("f", [c for vertex in vertices for c in vertex[part]]).tofile(stream)
        array.array("I", indices).tofile(stream)
        array.array("I", kept_textures).tofile(stream)
    with open(texture_path, "wb") as stream:
        array.array("I", [len(textures)]).tofile(stream)
        for width, height, rgb in textures:
            array.array("I", [width, height]).tofile(stream)
            stream.write(rgb)


main(*sys.argv[sys.argv.index("--") + 1:])
