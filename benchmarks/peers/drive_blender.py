"""The driver of Blender's decimate modifier (collapse), for a Blender without a window:

blender -b --factory-startup --python drive_blender.py -- INPUT FACES OUTPUT [SECONDS [RUNS]]

The same arguments and the same line of JSON as the other drivers (see driver.h); timed is the evaluation of the
modifier, from Blender's mesh to Blender's mesh, without the copying into and out of it.
"""
import array
import json
import sys
import time

import bpy


def status_bytes(name):
    try:
        with open("/proc/self/status") as status:
            for line in status:
                if line.startswith(name + ":"):
                    return 1024 * int(line.split()[1])
    except OSError:
        pass
    return 0


def reset_peak():
    try:
        with open("/proc/self/clear_refs", "w") as refs:
            refs.write("5")
    except OSError:
        pass


def read(path):
    with open(path, "rb") as stream:
        counts = array.array("I", stream.read(8))
        positions = array.array("f", stream.read(12 * counts[0]))
        faces = array.array("i", stream.read(12 * counts[1]))
    return positions, faces


def make_object(positions, faces):
    mesh = bpy.data.meshes.new("input")
    count = len(faces) // 3
    mesh.vertices.add(len(positions) // 3)
    mesh.vertices.foreach_set("co", positions)
    mesh.loops.add(len(faces))
    mesh.loops.foreach_set("vertex_index", faces)
    mesh.polygons.add(count)
    mesh.polygons.foreach_set("loop_start", array.array("i", range(0, 3 * count, 3)))
    mesh.polygons.foreach_set("loop_total", array.array("i", [3]) * count)
    mesh.update(calc_edges=True)
    thing = bpy.data.objects.new("input", mesh)
    bpy.context.scene.collection.objects.link(thing)
    bpy.context.view_layer.update()
    return thing


def write(path, mesh):
    mesh.calc_loop_triangles()
    positions = array.array("f", [0.0]) * (3 * len(mesh.vertices))
    mesh.vertices.foreach_get("co", positions)
    faces = array.array("i", [0]) * (3 * len(mesh.loop_triangles))
    mesh.loop_triangles.foreach_get("vertices", faces)
    with open(path, "wb") as stream:
        array.array("I", [len(mesh.vertices), len(mesh.loop_triangles)]).tofile(stream)
        positions.tofile(stream)
        faces.tofile(stream)


def main(arguments):
    source, target, destination = arguments[0], int(arguments[1]), arguments[2]
    limit = float(arguments[3]) if len(arguments) > 3 else 0.0
    most_runs = int(arguments[4]) if len(arguments) > 4 else 1
    for thing in list(bpy.data.objects):
        bpy.data.objects.remove(thing)
    positions, faces = read(source)
    thing = make_object(positions, faces)
    wall, processor, peak, worked = [], [], 0, 0.0
    while len(wall) < most_runs and (not wall or worked < limit):
        reset_peak()
        before = status_bytes("VmRSS")
        begin, begin_processor = time.monotonic(), time.process_time()
        modifier = thing.modifiers.new("decimate", "DECIMATE")
        modifier.ratio = target / (len(faces) // 3)
        graph = bpy.context.evaluated_depsgraph_get()
        graph.update()
        result = thing.evaluated_get(graph)
        reduced = result.to_mesh()
        wall.append(1000 * (time.monotonic() - begin))
        processor.append(1000 * (time.process_time() - begin_processor))
        worked += wall[-1] / 1000
        if len(wall) == 1:
            peak = max(0, status_bytes("VmHWM") - before)
            write(destination, reduced)
        result.to_mesh_clear()
        thing.modifiers.remove(modifier)
        bpy.context.view_layer.update()
    print(json.dumps({"version": bpy.app.version_string, "wall_ms": wall, "processor_ms": processor,
                      "peak_bytes": peak}))


main(sys.argv[sys.argv.index("--") + 1:])
